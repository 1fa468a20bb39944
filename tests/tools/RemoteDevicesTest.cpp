#include <csignal>

#include <gtest/gtest.h>

#include "Program.h"
#include "TestPeer.h"

namespace RynvelTest {
namespace {

/** The program on devices at servers. The server opens what it is asked to unless a test says otherwise. */
class RemoteDevices : public testing::Test {
protected:
    Arguments remotely(const std::string& line) const {
        Arguments arguments{"--remote", m_peer.address()};
        const Arguments rest = words(line);
        arguments.insert(arguments.end(), rest.begin(), rest.end());
        return arguments;
    }

    Ending run(const std::string& line) const { return runProgram(RYNVELCTL, remotely(line), "."); }

    void expect(const std::string& line, int status, const std::string& output, const std::string& error = "") const {
        const Ending ending = run(line);
        EXPECT_EQ(ending.status, status) << line;
        EXPECT_EQ(withoutTimes(ending.output), output) << line;
        EXPECT_EQ(ending.error, error.empty() ? "" : "rynvelctl: " + error + '\n') << line;
    }

    /** What happens before the operation: three times the device is opened, and its interrupts are asked for. */
    void opensThen(const std::vector<Reply>& replies) {
        m_peer.script({success(), success(), success(), success()});
        m_peer.script(replies);
    }

    TestPeer m_peer;
};

TEST_F(RemoteDevices, AreReadAtTheIndexOfTheRegister) {
    opensThen({success({0x12345678})});
    expect("--width 32 read remote 0x10", 0, "remote 0x00000010 = 0x12345678\n");
    const auto bytes = m_peer.requests(5)[4].bytes;
    EXPECT_EQ(bytes[3], 4);
    EXPECT_EQ(std::string(bytes.begin() + 4, bytes.begin() + 11), std::string("remote\0", 7));
    EXPECT_EQ(bytes[135], 4);
}

TEST_F(RemoteDevices, AreReadAtTheNumberItselfWithIndex) {
    opensThen({success({7})});
    expect("--width 16 read remote 0x10 --index", 0, "remote 16 = 0x0007\n");
    EXPECT_EQ(m_peer.requests(5)[4].bytes[135], 16);
}

TEST_F(RemoteDevices, OfEightBitsAreReadAtTheByteAddress) {
    opensThen({success({7})});
    expect("--width 8 read remote 0x11", 0, "remote 0x00000011 = 0x07\n");
    EXPECT_EQ(m_peer.requests(5)[4].bytes[135], 0x11);
}

TEST_F(RemoteDevices, HaveTheWidthOfTheDeviceOfThatNameHere) {
    opensThen({success({7})});
    expect("read common.idt 0", 0, "common.idt 0x00000000 = 0x07\n");
    EXPECT_EQ(m_peer.requests(5)[4].bytes[3], 2);
}

TEST_F(RemoteDevices, AreAnnouncedBeforeTheLibraryConnects) {
    m_peer.script({refusal()});
    expect("--width 32 read remote 0", 3, "", m_peer.address() + ": the server does not open 'remote'");
    EXPECT_EQ(m_peer.requests(1).size(), 1U);
}

TEST_F(RemoteDevices, ThatRefuseFailTheOperation) {
    opensThen({refusal()});
    expect("--width 32 read remote 8", 1, "", "remote: reading 0x00000008 failed");
    opensThen({refusal()});
    expect("--width 32 write remote 8 1", 1, "", "remote: writing 0x00000008 failed");
    opensThen({refusal()});
    expect("--width 32 ioctl remote 8 1", 1, "", "remote: the request failed");
}

TEST_F(RemoteDevices, WithoutInterruptsSayHowTheyFare) {
    m_peer.script({success(), success(), success(), refusal(), refusal(), success()});
    expect("--width 32 read remote 8", 1, "", "remote: reading 0x00000008 failed");
    m_peer.script({success(), success(), success(), refusal(), refusal(), success()});
    expect("--width 32 irq remote type", 1, "", "remote: the server knows no interrupts of it");
    m_peer.script({success(), success(), success(), refusal()});
    expect("--width 32 wait remote", 1, "", "remote: the server reports no interrupts of it");
    m_peer.script({success(), success(), success(), refusal(), refusal(), success()});
    expect("--width 32 --quiet info remote", 0, "remote\n" + m_peer.address() + "\nRemote32\n32\nnone\nnone\nnone\n");
}

TEST_F(RemoteDevices, AreOutOfReachWhenTheirServerClosesTheConnection) {
    const std::string closed = m_peer.address() + ": the connection was closed";
    m_peer.script({closing()});
    expect("--width 32 read remote 8", 3, "", closed);
    opensThen({closing()});
    expect("--width 32 read remote 8", 3, "", closed);
    opensThen({closing()});
    expect("--width 32 irq remote enable", 3, "", closed);
    m_peer.script({closing()});
    expect("ping", 3, "", closed);
}

TEST_F(RemoteDevices, AreGivenUpWhenTheirServerStaysSilent) {
    const std::string silent = m_peer.address() + ": no answer within 50 ms";
    for (std::size_t answers = 0; answers < 5; ++answers) {
        std::vector<Reply> replies(answers, success());
        replies.push_back(silence());
        m_peer.script(replies);
        expect("--timeout 50ms --width 32 read remote 8", 4, "", silent);
    }
    m_peer.script({silence()});
    expect("--timeout 50ms ping", 4, "", silent);
}

TEST_F(RemoteDevices, AreDumpedInOneRequestWithBurst) {
    opensThen({success({1, 2, 3})});
    expect("--width 16 dump remote 4 3 --burst --order network", 0, "0x00000004: 0001 0002 0003\n");
    const auto bytes = m_peer.requests(5)[4].bytes;
    EXPECT_EQ(bytes[651], 3);
    EXPECT_EQ(bytes[655], 0);
}

TEST_F(RemoteDevices, ReportTheirInterrupts) {
    Program program(RYNVELCTL, remotely("--width 32 wait remote --count 2"), ".");
    // The first five requests open the device and enable its interrupt.
    m_peer.requests(5);
    m_peer.send(2, {0, 0, 1, 2});
    EXPECT_EQ(withoutTimes(program.outputLine()), "TIME remote interrupt, word 258");
    m_peer.requests(6);
    m_peer.send(2, {0, 0, 0, 7});
    EXPECT_EQ(withoutTimes(program.outputLine()), "TIME remote interrupt, word 7");
    EXPECT_EQ(program.wait().status, 0);
}

TEST_F(RemoteDevices, AreOutOfReachWhenTheConnectionOfTheirInterruptsIsClosed) {
    Program program(RYNVELCTL, remotely("--width 32 wait remote"), ".");
    m_peer.requests(5);
    m_peer.close(2);
    const Ending ending = program.wait();
    EXPECT_EQ(ending.status, 3);
    EXPECT_EQ(ending.error, "rynvelctl: " + m_peer.address() + ": the connection was closed\n");
}

TEST_F(RemoteDevices, AreWaitedForUntilTheTimeIsOut) {
    expect("--width 32 wait remote --timeout 20ms", 4, "", "remote: no interrupt within 20 ms");
    expect("--width 32 wait remote --timeout 0", 4, "", "remote: no interrupt within 0 ms");
}

TEST_F(RemoteDevices, AreWaitedForUntilInterrupted) {
    Program program(RYNVELCTL, remotely("--width 32 wait remote"), ".");
    m_peer.requests(5);
    program.signal(SIGINT);
    const Ending ending = program.wait();
    EXPECT_EQ(ending.status, -SIGINT);
    EXPECT_EQ(ending.output + ending.error, "");
}

TEST_F(RemoteDevices, AreNotReachedWhereNobodyListens) {
    const TestPeer nobody(TestPeer::Start::Later);
    const Ending ending = runProgram(RYNVELCTL, {"--remote", nobody.address(), "read", "rtc0", "0"}, ".");
    EXPECT_EQ(ending.status, 3);
    EXPECT_EQ(ending.error, "rynvelctl: " + nobody.address() + ": Connection refused\n");
}

/** The program on the server of this build, which simulates its devices. */
class SimulatedDevices : public testing::Test {
protected:
    SimulatedDevices() : m_server(RYNVELD, {"--simulate", "--listen", "127.0.0.1:0"}, ".") {
        const std::string line = m_server.errorLine();
        const std::size_t colon = line.rfind(':', line.find(','));
        m_address = "127.0.0.1::" + line.substr(colon + 1, line.find(',') - colon - 1);
    }

    Arguments remotely(const std::string& line) const {
        Arguments arguments{"--remote", m_address};
        const Arguments rest = words(line);
        arguments.insert(arguments.end(), rest.begin(), rest.end());
        return arguments;
    }

    void expect(const std::string& line, int status, const std::string& output, const std::string& error = "") const {
        const Ending ending = runProgram(RYNVELCTL, remotely(line), ".");
        EXPECT_EQ(ending.status, status) << line;
        EXPECT_EQ(withoutTimes(ending.output), output) << line;
        EXPECT_EQ(ending.error, error.empty() ? "" : "rynvelctl: " + error + '\n') << line;
    }

    Program m_server;
    std::string m_address;
};

TEST_F(SimulatedDevices, TakePartInEveryCommandOnRegisters) {
    expect("info traf.top --json", 0,
           R"({"name":"traf.top","path":")" + m_address +
               R"(","backend":"Remote32","width":32,"mapSize":null,"interruptType":4,"descriptor":4})"
               "\n");
    expect("info common.idt --quiet", 0, "common.idt\n" + m_address + "\nRemote8\n8\nnone\nnone\nnone\n");
    expect("write traf.top 0x10 0x12345678 --verify", 0, "traf.top 0x00000010 = 0x12345678\n");
    expect("write traf.top 0x10 0xffff --mask 0xff00 --verify", 0,
           "traf.top 0x00000010 = 0x0000ffff under 0x0000ff00\n");
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
    expect("ioctl traf.top 1 2", 1, "", "traf.top: the request failed");
    expect("read traf.top 0x1000", 1, "", "traf.top: reading 0x00001000 failed");
    expect("--width 8 read traf.top 0", 1, "", "traf.top: reading 0x00000000 failed");
    expect("--width 32 read nothing 0", 3, "", m_address + ": the server does not open 'nothing'");
}

TEST_F(SimulatedDevices, TakePartInEveryCommandOnInterrupts) {
    expect("irq rtc0 type", 0, "rtc0 interrupt type = 4\n");
    expect("irq rtc0 enable", 0, "rtc0 interrupt enabled\n");
    expect("irq rtc0 disable --json", 0, "{\"name\":\"rtc0\",\"interrupt\":\"disabled\"}\n");
    expect("wait rtc0 --timeout 20ms", 4, "", "rtc0: no interrupt within 20 ms");
    // Each on a device that no earlier command may still be connected to.
    expect("irq tod raise 42 --quiet", 0, "");
    expect("wait tod --timeout 30s", 0, "TIME tod interrupt, word 42\n");
    expect("irq sync raise", 0, "sync interrupt raised\n");
    expect("wait sync --json", 0, "{\"name\":\"sync\",\"word\":1,\"time\":\"TIME\"}\n");
    expect("irq common.idt raise", 1, "", "common.idt: the server raises no interrupt of it");
}

TEST_F(SimulatedDevices, InterruptWhoWaits) {
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
    expect("ping nothing", 3, "", m_address + ": the server does not open 'nothing'");
}

} // namespace
} // namespace RynvelTest
