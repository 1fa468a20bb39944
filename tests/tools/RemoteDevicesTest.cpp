// SPDX-License-Identifier: MIT
#include <csignal>
#include <numeric>

#include <sys/socket.h>

#include <gtest/gtest.h>

#include "Descriptor.h"
#include "LocalSocket.h"
#include "Program.h"
#include "TestPeer.h"

namespace RynvelTest {
namespace {

/** A fixture for rynvelctl with remote devices. By default, the server answers every request with success. */
class RemoteDevices : public testing::Test {
protected:
    Arguments remotely(const std::string& line) const { return words("--remote " + m_peer.address() + ' ' + line); }

    Ending run(const std::string& line) const { return runProgram(RYNVELCTL, remotely(line), "."); }

    void expect(const std::string& line, int status, const std::string& output, const std::string& problem = "") const {
        expectEnding(run(line), status, output, problem, line);
    }

    /** Scripts a success for opening the device, and then the replies to the operation. */
    void opensThen(const std::vector<Reply>& replies) {
        m_peer.script({success()});
        m_peer.script(replies);
    }

    /** Returns the bytes of the second request, which follows the opening of the device. */
    std::vector<std::uint8_t> operation() { return m_peer.requests(2)[1].bytes; }

    TestPeer m_peer;
};

TEST_F(RemoteDevices, NeedOneConnectionAndTwoRequestsForARegister) {
    opensThen({success({0x12345678})});
    expect("--type Uio32 read remote 0x10", 0, "remote 0x00000010 = 0x12345678\n");
    const auto requests = m_peer.requests(2);
    ASSERT_EQ(requests.size(), 2U);
    EXPECT_EQ(requests[1].connection, 0U);
    const auto& bytes = requests[1].bytes;
    EXPECT_EQ(bytes[3], 4);
    EXPECT_EQ(std::string(bytes.begin() + 4, bytes.begin() + 11), std::string("remote\0", 7));
    EXPECT_EQ(bytes[135], 4);
}

TEST_F(RemoteDevices, AreReadAtAnAddressInTheUnitOfTheirType) {
    struct Row {
        const char* line;
        const char* output;
        int address;
    };
    for (const auto& [line, output, address] :
         {Row{"--type Tyvon16 read remote 0x10 --index", "remote 16 = 0x0007\n", 16},
          Row{"--type Lseek16 read remote 0x10", "remote 0x00000010 = 0x0007\n", 0x10},
          Row{"--type TyvonInterrupt32 read remote 0x10 --index", "remote 16 = 0x00000007\n", 0x40},
          Row{"--type Lseek8 read remote 0x11", "remote 0x00000011 = 0x07\n", 0x11}}) {
        opensThen({success({7})});
        expect(line, 0, output);
        EXPECT_EQ(operation()[135], address) << line;
        m_peer.clearRequests();
    }
}

TEST_F(RemoteDevices, HaveTheTypeOfTheLocalDeviceOfTheSameName) {
    opensThen({success({7})});
    expect("read common.idt 0", 0, "common.idt 0x00000000 = 0x07\n");
    EXPECT_EQ(operation()[3], 2);
}

TEST_F(RemoteDevices, AreUnreachableIfTheServerDoesNotOpenThem) {
    m_peer.script({refusal()});
    expect("--type Uio32 read remote 0", 3, "", m_peer.address() + ": the server refuses to open 'remote'");
    EXPECT_EQ(m_peer.requests(1).size(), 1U);
}

TEST_F(RemoteDevices, AreReachedByAddressesThatAServerPrints) {
    const std::string address = "127.0.0.1:" + std::to_string(m_peer.port());
    expectEnding(runProgram(RYNVELCTL, words("--remote " + address + " irq rtc0 enable"), "."), 0,
                 "rtc0 interrupt enabled\n");
}

TEST_F(RemoteDevices, FailIfTheServerRefusesTheRequest) {
    for (const auto& [operation, problem] : {std::pair("read remote 8", "reading 0x00000008"),
                                             {"write remote 8 1", "writing 0x00000008"},
                                             {"ioctl remote 8 1", "the ioctl request"},
                                             {"irq remote enable", "enabling the interrupt"}}) {
        opensThen({refusal()});
        expect(std::string("--type Uio32 ") + operation, 1, "",
               std::string("remote: ") + problem + " failed: the server refused the request");
    }
}

TEST_F(RemoteDevices, ReportThatTheyHaveNoInterrupts) {
    opensThen({refusal()});
    expect("--type Uio32 irq remote type", 1, "", "remote: the device has no interrupts");
    m_peer.script({success(), success(), refusal()});
    expect("--type Uio32 wait remote", 1, "", "remote: the server does not report interrupts of this device");
    opensThen({refusal()});
    expect("--type Uio32 --quiet info remote", 0, "remote\n" + m_peer.address() + "\nRemote32\n32\nnone\nnone\nnone\n");
}

TEST_F(RemoteDevices, FailIfAnAnswerIsTooShortOrTooWide) {
    const auto expectProblem = [this](const Reply& reply, const std::string& operation, const std::string& problem) {
        opensThen({reply});
        expect("--type Uio16 " + operation, 1, "", m_peer.address() + ": the server answers with " + problem);
    };
    expectProblem(success({1, 2}), "dump remote 0 3 --burst", "2 values instead of 3");
    expectProblem(success(), "read remote 0", "0 values instead of 1");
    expectProblem(success({0x10000}), "read remote 0", "a value of more than 16 bits");
}

TEST_F(RemoteDevices, AreDumpedUpToWhereTheServerRefuses) {
    opensThen({success({1}), success({2}), refusal()});
    expect("--type Uio32 dump remote 0 4", 1, "0x00000000: 00000001 00000002\n",
           "remote: reading 0x00000008 failed: the server refused the request");
}

TEST_F(RemoteDevices, AreUnreachableWhenTheirServerClosesTheConnection) {
    const auto expectClosed = [this](const std::vector<Reply>& replies, const std::string& line) {
        m_peer.script(replies);
        expect(line, 3, "", m_peer.address() + ": the connection was closed");
    };
    expectClosed({closing()}, "--type Uio32 read remote 8");
    expectClosed({success(), closing()}, "--type Uio32 read remote 8");
    expectClosed({success(), closing()}, "--type Uio32 irq remote enable");
    expectClosed({closing()}, "ping");
}

TEST_F(RemoteDevices, TimeOutWhenTheirServerStaysSilent) {
    const std::string silent = m_peer.address() + ": no answer within 50 ms";
    // This time-out leaves enough time for the answers that the server does send.
    const std::string commandTimedOut = m_peer.address() + ": timed out after 500 ms";
    // In each iteration, the server stops answering at a later request: two Open requests, arming, enabling the
    // interrupt.
    for (std::size_t answers = 0; answers < 4; ++answers) {
        std::vector<Reply> replies(answers, success());
        replies.push_back(silence());
        m_peer.script(replies);
        const std::string limit = answers == 0 ? "50ms" : "500ms";
        expect("--timeout " + limit + " --type Uio32 wait remote", 4, "", answers == 0 ? silent : commandTimedOut);
    }
    opensThen({silence()});
    expect("--timeout 500ms --type Uio32 read remote 8", 4, "", commandTimedOut);
    m_peer.script({silence()});
    expect("--timeout 50ms ping", 4, "", silent);
}

TEST_F(RemoteDevices, AcceptTimeoutBeforeAndAfterTheCommand) {
    const std::string silent = m_peer.address() + ": no answer within 50 ms";
    for (const std::string line :
         {"--timeout 50ms wait rtc0", "wait --timeout 50ms rtc0", "wait rtc0 --timeout 50ms"}) {
        m_peer.script({silence()});
        expect(line, 4, "", silent);
    }
}

TEST_F(RemoteDevices, ReportTheMeasurementsOfAPingThatTimesOut) {
    m_peer.script({success(), success(), success(), silence()});
    const Ending ending = run("--timeout 1s ping");
    EXPECT_EQ(ending.status, 4);
    EXPECT_NE(ending.output.find("2 round trips"), std::string::npos) << ending.output;
    EXPECT_EQ(ending.error, "rynvelctl: " + m_peer.address() + ": timed out after 1 s\n");
}

TEST_F(RemoteDevices, HaveNamesThatAServerAccepts) {
    expectEnding(runProgram(RYNVELCTL, {"--remote", m_peer.address(), "--type", "Lseek8", "read", "a\nb", "0"}, "."), 2,
                 "", "a?b: the name contains a control character, which a server does not accept");
}

TEST_F(RemoteDevices, HaveNamesOfUpTo127Characters) {
    const std::string longest(127, 'n');
    opensThen({success({7})});
    expect("--type Lseek8 read " + longest + " 0", 0, longest + " 0x00000000 = 0x07\n");
    expect("--type Lseek8 read n" + longest + " 0", 2, "", "n" + longest + ": the name is longer than 127 bytes");
}

TEST_F(RemoteDevices, ShowTheInterruptTypeThatTheServerReports) {
    opensThen({success({4})});
    const Ending ending = run("--type Lseek8 info remote --json");
    EXPECT_EQ(ending.status, 0);
    EXPECT_NE(ending.output.find("4"), std::string::npos) << ending.output;
    EXPECT_EQ(operation()[3], 9);
}

TEST_F(RemoteDevices, ShowTheInterruptTypeAlone) {
    for (const auto& [line, output] : {std::pair("irq remote type", "remote interrupt type = 4\n"),
                                       {"irq remote type --quiet", "4\n"},
                                       {"irq remote type --json", "{\"name\":\"remote\",\"interruptType\":4}\n"}}) {
        opensThen({success({4})});
        expect(std::string("--type Uio32 ") + line, 0, output);
    }
}

TEST_F(RemoteDevices, ShowTheResultOfAnIoctlRequest) {
    const std::string json = "{\"name\":\"remote\",\"request\":16897,\"argument\":7,\"result\":5}\n";
    for (const auto& [line, output] : {std::pair("ioctl remote 0x4201 7", "remote request 0x00004201 = 5\n"),
                                       {"ioctl remote 0x4201 7 --quiet", "5\n"},
                                       {"ioctl remote 0x4201 7 --json", json.c_str()}}) {
        opensThen({success({5})});
        expect(std::string("--type Uio32 ") + line, 0, output);
    }
}

TEST_F(RemoteDevices, TimeOutInTheMiddleOfAnInterrupt) {
    Program program(RYNVELCTL, remotely("--type Uio32 wait remote --each 100ms"), ".");
    m_peer.requests(4);
    m_peer.send(1, {0, 0});
    expectEnding(program.wait(), 4, "", "remote: no interrupt within 100 ms");
}

TEST_F(RemoteDevices, AreOpenedBeforeAPing) {
    m_peer.script({refusal(), refusal()});
    const Ending ending = run("ping --count 1");
    EXPECT_EQ(ending.status, 0) << ending.error;
    const auto requests = m_peer.requests(2);
    EXPECT_EQ(requests[0].bytes[3], 0);
    EXPECT_EQ(requests[1].bytes[3], 9);
}

TEST_F(RemoteDevices, AreDumpedInOneRequestWithBurst) {
    opensThen({success({1, 2, 3})});
    expect("--type Uio16 dump remote 4 3 --burst --order network", 0, "0x00000004: 0001 0002 0003\n");
    const auto bytes = operation();
    EXPECT_EQ(bytes[651], 3);
    EXPECT_EQ(bytes[655], 0);
}

TEST_F(RemoteDevices, ReportTheirInterrupts) {
    Program program(RYNVELCTL, remotely("--type Uio32 wait remote --count 2"), ".");
    // The first four requests open the device twice, arm a connection and enable the interrupt.
    m_peer.requests(4);
    m_peer.send(1, {0, 0});
    m_peer.send(1, {1, 2});
    EXPECT_EQ(withoutTimes(program.outputLine()), "TIME remote interrupt, word 258");
    m_peer.requests(5);
    m_peer.send(1, {0, 0, 0, 7});
    EXPECT_EQ(withoutTimes(program.outputLine()), "TIME remote interrupt, word 7");
    EXPECT_EQ(program.wait().status, 0);
}

TEST_F(RemoteDevices, AreUnreachableWhenTheConnectionOfTheirInterruptsIsClosed) {
    Program program(RYNVELCTL, remotely("--type Uio32 wait remote"), ".");
    m_peer.requests(4);
    m_peer.close(1);
    expectEnding(program.wait(), 3, "", m_peer.address() + ": the connection was closed");
}

TEST_F(RemoteDevices, AreNotWaitedForWithoutAReaderOfTheOutput) {
    Program program(RYNVELCTL, remotely("--type Uio32 wait remote"), ".");
    m_peer.requests(4);
    program.closeOutput();
    expectEnding(program.wait(), 0, "");
}

TEST_F(RemoteDevices, AreWaitedForUntilTheTimeOut) {
    // The time-out of the whole command includes connecting, so it must be long enough for both.
    expect("--type Uio32 wait remote --timeout 1s", 4, "", "remote: no interrupt within 1 s");
    expect("--timeout 1s --type Uio32 wait remote", 4, "", "remote: no interrupt within 1 s");
    expect("--type Uio32 wait remote --each 20ms", 4, "", "remote: no interrupt within 20 ms");
    expect("--type Uio32 wait remote --each 0", 4, "", "remote: no interrupt within 0 ms");
}

TEST_F(RemoteDevices, HaveOneTimeOutForAllInterruptsOfAWait) {
    Program program(RYNVELCTL, remotely("--type Uio32 wait remote --count 3 --timeout 2s"), ".");
    m_peer.requests(4);
    m_peer.send(1, {0, 0, 0, 1});
    expectEnding(program.wait(), 4, "TIME remote interrupt, word 1\n", "remote: received 1 of 3 interrupts within 2 s");
}

TEST_F(RemoteDevices, AreWaitedForUntilInterrupted) {
    Program program(RYNVELCTL, remotely("--type Uio32 wait remote"), ".");
    m_peer.requests(4);
    program.signal(SIGINT);
    expectEnding(program.wait(), -SIGINT, "");
}

TEST_F(RemoteDevices, AreUnreachableIfNoServerListens) {
    const TestPeer nobody(TestPeer::Start::Later);
    expectEnding(runProgram(RYNVELCTL, words("--remote " + nobody.address() + " read rtc0 0"), "."), 3, "",
                 nobody.address() + ": Connection refused");
}

/** A server of this build, on a port that the system chooses. */
class RunningServer {
public:
    RunningServer(const std::string& path, const std::string& options, const std::string& folder)
        : m_program(path, words("--listen 127.0.0.1:0 " + options), folder) {
        const std::string line = m_program.errorLine();
        const std::size_t colon = line.rfind(':', line.find(','));
        m_address = "127.0.0.1::" + line.substr(colon + 1, line.find(',') - colon - 1);
    }

    const std::string& address() const { return m_address; }

private:
    Program m_program;
    std::string m_address;
};

TEST(LocalSockets, ServeAllCommands) {
    const TestFolder folder;
    const std::string path = folder.path() + "/s";
    Program server(RYNVELD, {"--simulate", "--listen", "unix:" + path}, folder.path());
    EXPECT_EQ(server.errorLine().rfind("rynveld: listening on " + path + ", ", 0), 0U);
    const auto expect = [&](const std::string& line, int status, const std::string& output,
                            const std::string& problem = "") {
        expectEnding(runProgram(RYNVELCTL, words("--remote unix:" + path + ' ' + line), "."), status, output, problem,
                     line);
    };
    expect("write rtc0 4 0x12 --quiet", 0, "");
    expect("read rtc0 4 --quiet", 0, "0x00000012\n");
    expect("irq rtc0 raise 7", 0, "rtc0 interrupt raised\n");
    expect("wait rtc0 --format %v", 0, "7\n");
    expect("read nothing 0 --type Uio32", 3, "", "unix:" + path + ": the server refuses to open 'nothing'");
    expectEnding(runProgram(RYNVELCTL, words("--remote unix:" + path + "2 read rtc0 4"), "."), 3, "",
                 "unix:" + path + "2: No such file or directory", "another file");
}

TEST(LocalSockets, WaitForAServerWhoseQueueIsFull) {
    const TestFolder folder;
    const LocalSocket server(SOCK_STREAM, folder.path() + "/s");
    ASSERT_EQ(::listen(server.descriptor(), 0), 0);
    const Common::Descriptor first(server.connect(SOCK_STREAM));
    Program program(RYNVELCTL, words("--remote unix:" + server.name() + " ping --timeout 500ms"), ".");
    expectEnding(program.wait(), 4, "", "unix:" + server.name() + ": no answer within 500 ms");
}

/** A fixture for rynvelctl with a server that simulates its devices. */
class SimulatedDevices : public testing::Test {
protected:
    explicit SimulatedDevices(const std::string& options = "") : m_server(RYNVELD, "--simulate " + options, ".") {}

    Arguments remotely(const std::string& line) const { return words("--remote " + m_server.address() + ' ' + line); }

    void expect(const std::string& line, int status, const std::string& output, const std::string& problem = "") const {
        expectEnding(runProgram(RYNVELCTL, remotely(line), "."), status, output, problem, line);
    }

    RunningServer m_server;
    const std::string m_address = m_server.address();
};

TEST_F(SimulatedDevices, SupportEveryCommandOnRegisters) {
    expect("info traf.top --json", 0,
           R"({"name":"traf.top","path":")" + m_address +
               R"(","backend":"Remote32","width":32,"mapSize":null,"interruptType":4,"descriptor":null})"
               "\n");
    expect("info common.idt --quiet", 0, "common.idt\n" + m_address + "\nRemote8\n8\nnone\nnone\nnone\n");
    expect("write traf.top 0x10 0x12345678 --verify", 0, "traf.top 0x00000010 = 0x12345678\n");
    expect("write traf.top 0x10 0xffff --mask 0xff00 --verify", 0,
           "traf.top 0x00000010 = 0x0000ff00 with mask 0x0000ff00\n");
    expect("read traf.top 0x10", 0, "traf.top 0x00000010 = 0x1234ff78\n");
    expect("read traf.top 4 --index --quiet", 0, "0x1234ff78\n");
    expect("dump traf.top 0x8 5", 0, "0x00000008: 00000000 00000000 1234ff78 00000000\n0x00000018: 00000000\n");
    expect("dump traf.top 0x10 1 --burst --order network", 0, "0x00000010: 78ff3412\n");
    expect("dump traf.top 0x10 2 --burst --order network --json", 0,
           R"({"name":"traf.top","address":16,"width":32,"order":"network","values":[2029990930,0]})"
           "\n");
    expect("fill common.idt 3 2 0xaa", 0, "common.idt 0x00000003 = 0xaa in 2 registers\n");
    expect("dump common.idt 0 6 --burst", 0, "0x00000000: 00 00 00 aa aa 00\n");
    expect("watch common.idt 3 5 --count 2 --interval 1ms --quiet", 0, "0x00000003 0xaa\n0x00000005 0x00\n");
    expect("ioctl traf.top 1 2", 1, "", "traf.top: the ioctl request failed: the server refused the request");
    expect("read traf.top 0x1000", 1, "", "traf.top: reading 0x00001000 failed: the server refused the request");
    expect("--type Lseek8 read traf.top 0", 1, "",
           "traf.top: reading 0x00000000 failed: the server refused the request");
    expect("--type Uio32 read nothing 0", 3, "", m_address + ": the server refuses to open 'nothing'");
}

TEST_F(SimulatedDevices, SupportEveryCommandOnInterrupts) {
    expect("irq rtc0 type", 0, "rtc0 interrupt type = 4\n");
    expect("irq rtc0 enable", 0, "rtc0 interrupt enabled\n");
    expect("irq rtc0 disable --json", 0, "{\"name\":\"rtc0\",\"interrupt\":\"disabled\"}\n");
    expect("wait rtc0 --each 20ms", 4, "", "rtc0: no interrupt within 20 ms");
    // Each command uses its own device, because an earlier command may still be connected.
    expect("irq tod raise 42 --quiet", 0, "");
    expect("wait tod --timeout 30s", 0, "TIME tod interrupt, word 42\n");
    expect("irq sync raise", 0, "sync interrupt raised\n");
    expect("wait sync --json", 0, "{\"name\":\"sync\",\"word\":1,\"time\":\"TIME\"}\n");
    expect("--type Uio32 irq common.idt raise", 1, "",
           "common.idt: raising the interrupt failed: the server refused the request");
    expect("irq common.idt raise", 2, "", "common.idt: a device of type Lseek8 has no interrupts");
}

TEST_F(SimulatedDevices, HaveEventsInAGivenFormat) {
    expect("irq rtc0 type --format %d:%v:%t", 0, "rtc0:4:TIME\n");
    expect("irq rtc0 enable --format %v%%", 0, "enabled%\n");
    expect("irq rtc0 disable --format %v", 0, "disabled\n");
    expect("irq tod raise 42 --format %v", 0, "raised\n");
    expect("wait tod --timeout 30s --format %t,%d,%v", 0, "TIME,tod,42\n");
    expect("watch common.idt 3 --count 1 --format %d,%a,%v", 0, "common.idt,0x00000003,0x00\n");
}

TEST_F(SimulatedDevices, InterruptWaitingClients) {
    expect("irq tod raise 5 --quiet", 0, "");
    Program program(RYNVELCTL, remotely("wait tod --count 2 --quiet"), ".");
    EXPECT_EQ(program.outputLine(), "5");
    expect("irq tod raise 6 --quiet", 0, "");
    EXPECT_EQ(program.outputLine(), "6");
    EXPECT_EQ(program.wait().status, 0);
}

TEST_F(SimulatedDevices, AnswerPings) {
    const Ending ending = runProgram(RYNVELCTL, remotely("ping rtc0 --count 3"), ".");
    EXPECT_EQ(ending.status, 0);
    EXPECT_EQ(ending.error, "");
    EXPECT_EQ(ending.output.find(m_address + ": 3 round trips, min "), 0U);
    const Ending nameless = runProgram(RYNVELCTL, remotely("ping"), ".");
    EXPECT_EQ(nameless.output.find(m_address + ": 10 round trips, min "), 0U);
    expect("ping nothing", 3, "", m_address + ": the server refuses to open 'nothing'");
}

class SomeSimulatedDevices : public SimulatedDevices {
protected:
    SomeSimulatedDevices() : SimulatedDevices("--device rtc0 --device traf.top") {}
};

TEST_F(SomeSimulatedDevices, AreListedAsServed) { expect("list --quiet", 0, "traf.top\nrtc0\n"); }

class SimulatedDevicesInPieces : public SimulatedDevices {
protected:
    SimulatedDevicesInPieces() : SimulatedDevices("--fault split=50ms") {}
};

TEST_F(SimulatedDevicesInPieces, AreReadAndWrittenAsTheyAre) {
    expect("write traf.top 4 0xdeadbeef", 0, "traf.top 0x00000004 = 0xdeadbeef\n");
    expect("read traf.top 4", 0, "traf.top 0x00000004 = 0xdeadbeef\n");
    expect("dump traf.top 0 3 --burst", 0, "0x00000000: 00000000 deadbeef 00000000\n");
    expect("write traf.top 0x1000 1", 1, "", "traf.top: writing 0x00001000 failed: the server refused the request");
    expect("wait tod --each 20ms", 4, "", "tod: no interrupt within 20 ms");
    expect("irq tod raise 42 --quiet", 0, "");
    expect("wait tod --timeout 30s", 0, "TIME tod interrupt, word 42\n");
}

class SimulatedDevicesThatFailSometimes : public SimulatedDevices {
protected:
    SimulatedDevicesThatFailSometimes() : SimulatedDevices("--fault error:3") {}
};

TEST_F(SimulatedDevicesThatFailSometimes, AreReportedAsFailingAndNotAsUnreachable) {
    expect("dump traf.top 0 2", 1, "0x00000000: 00000000\n",
           "traf.top: reading 0x00000004 failed: the server refused the request");
}

/** A fixture for rynvelctl with devices that are files, directly and through a server. */
class ServedFiles : public testing::Test {
protected:
    ServedFiles() {
        std::string bytes(64, '\0');
        std::iota(bytes.begin(), bytes.end(), '\0');
        for (const std::string name : {"registers8", "registers16", "registers32"}) {
            m_folder.store(name, bytes);
        }
        m_folder.store("map", bytes + std::string(4032, '\0'));
    }

    std::string outputOf(const std::string& line) const {
        const Ending ending = runProgram(RYNVELCTL_FOR_TESTS, words(line), m_folder.path());
        EXPECT_EQ(ending.status, 0) << line;
        EXPECT_EQ(ending.error, "") << line;
        return ending.output;
    }

    std::string remotely(const std::string& line) const { return "--remote " + m_server.address() + ' ' + line; }

    TestFolder m_folder;
    RunningServer m_server{RYNVELD_FOR_TESTS, "", m_folder.path()};
};

TEST_F(ServedFiles, AreReadAtTheSameRegistersLocallyAndRemotely) {
    for (const std::string device : {"file8", "file16", "file32", "map16", "map32"}) {
        for (const std::string& line :
             {"read " + device + " 8", "read " + device + " 3 --index", "dump " + device + " 4 5"}) {
            EXPECT_EQ(outputOf(remotely(line)), outputOf(line)) << line;
        }
    }
    EXPECT_EQ(outputOf(remotely("read file32 8")), "file32 0x00000008 = 0x0b0a0908\n");
    EXPECT_EQ(outputOf(remotely("--type Lseek16 read file16 2")), "file16 0x00000002 = 0x0302\n");
}

TEST_F(ServedFiles, AreWrittenAtTheSameRegistersLocallyAndRemotely) {
    outputOf(remotely("write file32 8 0xffffffff --verify"));
    EXPECT_EQ(m_folder.load("registers32").substr(0, 16),
              std::string("\0\1\2\3\4\5\6\7\xff\xff\xff\xff\x0c\x0d\x0e\x0f", 16));
    outputOf(remotely("fill file16 2 2 0xaaaa"));
    EXPECT_EQ(m_folder.load("registers16").substr(0, 8), std::string("\0\1\xaa\xaa\xaa\xaa\6\7", 8));
}

} // namespace
} // namespace RynvelTest
