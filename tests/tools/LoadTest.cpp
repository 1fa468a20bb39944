// SPDX-License-Identifier: MIT
#include <algorithm>
#include <chrono>
#include <csignal>
#include <memory>
#include <numeric>
#include <thread>

#include <fcntl.h>
#include <pty.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "DescribedDevice.h"
#include "DescribedProgram.h"
#include "TestPeer.h"

namespace RynvelTest {
namespace {

const std::string loadMap = mapOfPeripherals(
    peripheralOf("map32", "",
                 registerAt("DATA[%s]", "0", "<dim>4</dim><dimIncrement>4</dimIncrement>") +
                     registerAt("STATE", "0x10", "<access>read-only</access>") +
                     registerAt("SECRET", "0x14", "<access>write-only</access>") +
                     registerAt("GAIN", "0x18",
                                fieldsOf(fieldAt("GAIN", "31:0",
                                                 "<writeConstraint><range><minimum>1</minimum><maximum>9</maximum>"
                                                 "</range></writeConstraint>")))));

/** Runs rynvelctl with binary contents of registers. */
class Load : public DescribedProgram {
protected:
    Load() : DescribedProgram(loadMap) {
        std::string bytes(32, '\0');
        std::iota(bytes.begin(), bytes.end(), '\x80');
        for (const std::string name : {"registers8", "registers16", "registers32"}) {
            m_folder.store(name, bytes);
        }
        m_folder.store("bytes", "\x01\x02\x03\x04\x05\x06\x07\x08");
    }

    Ending load(const std::string& line, const std::string& input) const {
        return Program(RYNVELCTL_FOR_TESTS, arguments(line), m_folder.path(), input).wait();
    }

    /** Runs a command with standard output to a file, and returns the contents of the file. */
    std::string outputOf(const std::string& line) const {
        const std::string name = m_folder.path() + "/output";
        const int file = open(name.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
        expectEnding(Program(RYNVELCTL_FOR_TESTS, arguments(line), m_folder.path(), file).wait(), 0, "", "", line);
        close(file);
        return m_folder.load("output");
    }
};

TEST_F(Load, WritesTheBytesOfStandardInput) {
    expectEnding(load("load map32 0x20", "bytes"), 0, "map32: wrote 8 bytes to 2 registers from 0x00000020\n");
    EXPECT_EQ(m_folder.load("map").substr(0x1c, 16),
              std::string(4, '\0') + m_folder.load("bytes") + std::string(4, '\0'));
    expectEnding(load("load map32 9 - --index --quiet", "bytes"), 0, "");
    EXPECT_EQ(m_folder.load("map").substr(0x20, 12), std::string("\x01\x02\x03\x04") + m_folder.load("bytes"));
}

TEST_F(Load, WritesTheBytesOfAFile) {
    expect("load map32 0x20 bytes --json", 0,
           "{\"name\":\"map32\",\"address\":32,\"width\":32,\"order\":\"host\",\"count\":2,\"bytes\":8}\n");
    EXPECT_EQ(m_folder.load("map").substr(0x20, 8), m_folder.load("bytes"));
    expect("load file8 3 bytes", 0, "file8: wrote 8 bytes to 8 registers from 0x00000003\n");
    EXPECT_EQ(m_folder.load("registers8").substr(2, 10), "\x82" + m_folder.load("bytes") + "\x8b");
}

TEST_F(Load, ReversesTheBytesOfEachRegisterInNetworkOrder) {
    expect("load file16 0 bytes --order network --quiet", 0, "");
    EXPECT_EQ(m_folder.load("registers16").substr(0, 9), "\x02\x01\x04\x03\x06\x05\x08\x07\x88");
    expect("load map32 0x20 bytes --order=network --quiet", 0, "");
    EXPECT_EQ(m_folder.load("map").substr(0x20, 8), "\x04\x03\x02\x01\x08\x07\x06\x05");
}

TEST_F(Load, StartsAtTheCurrentOffsetOfStandardInput) {
    const Arguments shell{"-c", "(head -c 4 >/dev/null; exec " RYNVEL_EMULATOR " " RYNVELCTL_FOR_TESTS
                                " load map32 0x20 --quiet) <bytes"};
    Arguments command{"sh"};
    command.insert(command.end(), shell.begin(), shell.end());
    const Ending ending = Process(command, {enter(m_folder.path()), {}}).wait();
    EXPECT_EQ(ending.status, 0) << ending.error;
    EXPECT_EQ(m_folder.load("map").substr(0x20, 8), std::string("\x05\x06\x07\x08\0\0\0\0", 8));
}

TEST_F(Load, RestoresTheBytesOfARawDump) {
    for (const std::string order : {"", " --order network"}) {
        for (const std::string device : {"file8", "file16", "file32"}) {
            const std::string file = "registers" + device.substr(4);
            const std::string before = m_folder.load(file);
            m_folder.store("saved", outputOf("dump " + device + " 0 8 --raw" + order));
            expect("fill " + device + " 0 8 0 --quiet", 0, "");
            EXPECT_NE(m_folder.load(file), before) << device;
            expect("load " + device + " 0 saved --quiet" + order, 0, "");
            EXPECT_EQ(m_folder.load(file), before) << device << order;
        }
    }
}

TEST_F(Load, RefusesContentsThatDoNotFit) {
    m_folder.store("five", "12345");
    m_folder.store("empty", "");
    m_folder.store("long", std::string(4096, 'x'));
    m_folder.store("endless", std::string((4U << 20U) + 4, 'x'));
    expectRefused("load map32 0 five", "five: the size of 5 bytes is not a multiple of 4 (32-bit registers)");
    expectRefused("load map32 0 empty", "empty: the file is empty");
    expectRefused("load map32 0 nowhere", "nowhere: No such file or directory");
    expectRefused("load map32 0 .", ".: Is a directory");
    expectRefused("load map32 4 long",
                  "long: the file has more than 4092 bytes (map32 has 1023 registers from 0x00000004)");
    expectRefused("load map32 0x1000 five", "map32: register 0x00001000 is outside the map of 4096 bytes");
    expectRefused("load file8 0 endless", "endless: the file has more than 1048576 bytes (1048576 registers)");
    expectRefused("load map32 2 bytes", "map32: address 2 is not a multiple of 4 (32-bit registers)");
    expectRefused("load map32 0 bytes --order little", "--order: 'little' is not a byte order (host or network)");
    expectEnding(load("load map32 0", "five"), 2, "",
                 "-: the size of 5 bytes is not a multiple of 4 (32-bit registers)");
}

TEST_F(Load, RefusesWhatTheRegisterMapDoesNotAllow) {
    m_folder.store("sixteen", std::string(16, '\x01'));
    m_folder.store("twenty", std::string(20, '\x01'));
    expect("load map32 DATA[0] sixteen", 0, "map32: wrote 16 bytes to 4 registers from DATA[0]\n");
    expectRefused("load map32 DATA[0] twenty", "map32: register STATE is read-only");
    expectRefused("load map32 STATE bytes", "map32: register STATE is read-only");
    m_folder.store("gain", std::string("\x01\0\0\0\x0a\0\0\0", 8));
    expectRefused("load map32 SECRET gain", "map32: field GAIN.GAIN: value 10 is not allowed (write 1 to 9)");
    m_folder.store("gain", std::string("\x01\0\0\0\x09\0\0\0", 8));
    expect("load map32 SECRET gain --quiet", 0, "");
    expect("load map32 0x10 bytes --quiet", 0, "");
}

TEST_F(Load, SaysHowMuchWasWrittenBeforeAFailure) {
    TestPeer peer;
    m_folder.store("twelve", "123456789012");
    const std::string remote = "--timeout 10s --type Uio32 --remote " + peer.address();
    for (const std::string line : {" load remote 0 twelve", " fill remote 0 3 7"}) {
        peer.script({success(), success(), refusal()});
        expect(remote + line, 1, "",
               "remote: writing 0x00000004 failed: the server refused the request (1 of 3 registers written; first not "
               "written: 0x00000004)");
        peer.script({success(), success(), success(), closing()});
        expect(remote + line, 3, "",
               peer.address() + ": the connection was closed (2 of 3 registers written; unknown whether written: "
                                "0x00000008)");
        peer.script({success(), refusal()});
        expect(remote + line, 1, "",
               "remote: writing 0x00000000 failed: the server refused the request (0 of 3 registers written; first not "
               "written: 0x00000000)");
    }
    peer.script({success(), success(), refusal()});
    expect(remote + " fill remote 0xfffffff0 4 7 --quiet", 1, "",
           "remote: writing 0xfffffff4 failed: the server refused the request (1 of 4 registers written; first not "
           "written: 0xfffffff4)");
    peer.script({success(), success(), refusal()});
    expect(remote + " fill remote 0x20 4 7 --index", 1, "",
           "remote: writing 33 failed: the server refused the request (1 of 4 registers written; first not written: "
           "33)");
}

TEST_F(Load, SaysNothingAboutTheProgressOfASingleRegister) {
    TestPeer peer;
    const std::string line = "--timeout 10s --type Uio32 --remote " + peer.address() + " fill remote 4 1 7";
    peer.script({success(), refusal()});
    expect(line, 1, "", "remote: writing 0x00000004 failed: the server refused the request");
    peer.script({success(), closing()});
    expect(line, 3, "",
           peer.address() + ": the connection was closed (0 of 1 register written; unknown whether written: "
                            "0x00000004)");
}

TEST_F(Load, SaysHowMuchWasWrittenAfterASignal) {
    TestPeer peer;
    m_folder.store("twelve", "123456789012");
    const std::string remote = "--type Uio32 --remote " + peer.address();
    const auto expectAfterASignal = [&](const std::string& line, const std::vector<Reply>& replies,
                                        const std::string& problem) {
        peer.clearRequests();
        peer.script(replies);
        Program program(RYNVELCTL_FOR_TESTS, arguments(remote + line), m_folder.path());
        peer.requests(replies.size());
        program.signal(SIGTERM);
        expectEnding(program.wait(), -SIGTERM, "", problem, line);
    };
    for (const std::string line : {" load remote 0x10 twelve", " fill remote 0x10 3 7"}) {
        expectAfterASignal(line, {success(), success(), silence()},
                           "remote: interrupted (1 of 3 registers written; unknown whether written: 0x00000014)");
        expectAfterASignal(line, {success(), success(), success(), silence()},
                           "remote: interrupted (2 of 3 registers written; unknown whether written: 0x00000018)");
        expectAfterASignal(line, {silence()}, "");
    }
}

TEST_F(Load, DoesNotOutlastTheTimeOut) {
    int ends[2];
    ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
    const std::string input = "/proc/" + std::to_string(getpid()) + "/fd/" + std::to_string(ends[0]);
    expectEnding(load("load map32 0 --timeout 50ms", input), 4, "", "-: timed out after 50 ms");
    close(ends[0]);
    close(ends[1]);
}

TEST_F(Load, DoesNotWaitForTheEndOfAnInputThatIsTooLong) {
    int ends[2];
    ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
    const std::string bytes(4097, 'x');
    ASSERT_EQ(write(ends[1], bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
    const std::string input = "/proc/" + std::to_string(getpid()) + "/fd/" + std::to_string(ends[0]);
    expectEnding(load("load map32 0 --timeout 10s", input), 2, "",
                 "-: the file has more than 4096 bytes (map32 has 1024 registers from 0x00000000)");
    close(ends[0]);
    close(ends[1]);
}

TEST_F(Load, DoesNotWriteTheLinesOfAFileOfCommands) {
    m_folder.store("commands", "load map32 0x20\nread map32 0 0 0\n");
    const std::string problem = "load: another command reads standard input (give the name of a file)";
    expectEnding(load("run -", "commands"), 2, "", "-:1: " + problem);
    EXPECT_EQ(get(0x20), 0U);
    m_folder.store("commands", "load map32 0x20 bytes\nload map32 0x28\nload map32 0x30 -\n");
    expectEnding(load("run commands --quiet", "bytes"), 2, "", "commands:3: " + problem);
    EXPECT_EQ(m_folder.load("map").substr(0x20, 24),
              m_folder.load("bytes") + m_folder.load("bytes") + std::string(8, '\0'));
}

TEST_F(Load, RefusesATerminal) {
    int terminal = -1;
    int other = -1;
    char name[64];
    ASSERT_EQ(openpty(&terminal, &other, name, nullptr, nullptr), 0);
    expectEnding(load("load map32 0", name), 2, "", "standard input is a terminal (redirect it from a file or a pipe)");
    expectEnding(Program(RYNVELCTL_FOR_TESTS, arguments("dump map32 0 1 --raw"), m_folder.path(), other).wait(), 2, "",
                 "--raw: standard output is a terminal (redirect it to a file or a pipe)");
    close(terminal);
    close(other);
}

class RawDump : public Load {};

TEST_F(RawDump, NeedsAnOpenStandardOutput) {
    if (!std::string(RYNVEL_EMULATOR).empty()) {
        GTEST_SKIP() << "the emulator may open a file with the number of standard output";
    }
    Process process({"sh", "-c", "exec " RYNVELCTL_FOR_TESTS " dump file16 2 2 --raw >&-"},
                    {enter(m_folder.path()), {}});
    expectEnding(process.wait(), 1, "", "standard output: Bad file descriptor");
}

TEST_F(RawDump, WritesTheBytesOfTheRegisters) {
    EXPECT_EQ(outputOf("dump file16 2 2 --raw"), "\x82\x83\x84\x85");
    EXPECT_EQ(outputOf("dump file16 2 2 --raw --order network"), "\x83\x82\x85\x84");
    EXPECT_EQ(outputOf("dump file8 0 4 --raw --burst"), "\x80\x81\x82\x83");
    EXPECT_EQ(outputOf("dump file8 0 4 --raw --base 10"), "\x80\x81\x82\x83");
    expectRefused("dump file8 0 4 --raw --json",
                  "--raw: --json and --quiet do not apply to raw bytes (leave them out)");
    expectRefused("--quiet dump file8 0 4 --raw",
                  "--raw: --json and --quiet do not apply to raw bytes (leave them out)");
}

TEST_F(Load, WritesNothingIfTheRawDumpInThePipeFails) {
    expect("dump file8 30 4 --raw", 1, "", "file8: reading 0x00000020 failed");
    const std::string program = std::string(RYNVEL_EMULATOR) + " " RYNVELCTL_FOR_TESTS;
    const std::string pipe = program + " dump file8 30 4 --raw | " + program + " load map32 0x20";
    expectEnding(Process({"sh", "-c", pipe}, {enter(m_folder.path()), {}}).wait(), 2, "",
                 "file8: reading 0x00000020 failed\nrynvelctl: -: the file is empty");
    EXPECT_EQ(get(0x20), 0U);
}

/** A pipe with room for only 4096 bytes. The test reads the pipe after the program has ended. */
class SmallPipe : public Load {
protected:
    SmallPipe() {
        EXPECT_EQ(pipe2(m_ends, O_CLOEXEC), 0);
        EXPECT_GE(fcntl(m_ends[1], F_SETPIPE_SZ, 4096), 4096);
    }
    ~SmallPipe() override { close(m_ends[0]); }

    /** Expects a command to end after the pipe is full. Returns the contents of the pipe. */
    std::string expectFull(const std::string& line, int status, const std::string& problem) {
        expectEnding(Program(RYNVELCTL_FOR_TESTS, arguments(line), m_folder.path(), m_ends[1]).wait(), status, "",
                     problem, line);
        close(m_ends[1]);
        return readToTheEnd(m_ends[0]);
    }

    int m_ends[2] = {-1, -1};
};

TEST_F(SmallPipe, ReceivesWholeLinesUpToTheTimeOut) {
    const std::string lines = expectFull("dump map32 0 1024 -q -t 200ms", 4, "standard output: timed out after 200 ms");
    EXPECT_GT(lines.size(), 2000U);
    EXPECT_EQ(lines.size() % std::string("0x00000000\n").size(), 0U);
}

TEST_F(SmallPipe, DoesNotHideTheFailureOfARead) {
    TestPeer peer;
    peer.script(std::vector<Reply>(1000, success({7})));
    peer.script({refusal()});
    expectFull("--remote " + peer.address() + " --type Uio32 dump remote 0 1024 -q -t 3s", 1,
               "remote: reading 0x00000f9c failed: the server refused the request");
}

/** A server of one device with 12 registers that contain 7. The server may be slow. */
class SlowDevice : public testing::Test {
protected:
    SlowDevice() {
        m_folder.store("board.svd",
                       mapOfPeripherals(peripheralOf(
                           "remote", "", registerAt("R%s", "0", "<dim>12</dim><dimIncrement>4</dimIncrement>"))));
        m_folder.store("bytes", std::string(48, '\x07'));
        EXPECT_EQ(openpty(&m_terminal, &m_other, m_name, nullptr, nullptr), 0);
    }
    ~SlowDevice() override {
        close(m_terminal);
        close(m_other);
    }

    /**
     * Returns a service that delays consecutive accesses to registers by one second each.
     *
     * @param firstLate the number of the first delayed access, counted from 1.
     * @param count the number of delayed accesses.
     */
    static TestPeer::Service serviceWith(std::size_t firstLate, std::size_t count = 1) {
        // The first request opens the device.
        return [firstLate = firstLate + 1, count, requests = std::make_shared<std::size_t>(0)](
                   std::size_t /*connection*/, const Rynvel::Request& /*request*/) {
            ++*requests;
            if (*requests >= firstLate && *requests < firstLate + count) {
                // The bar appears only after the program has run for a second, and a test cannot set the clock of the
                // program.
                std::this_thread::sleep_for(std::chrono::seconds(1));
            }
            return success({7});
        };
    }

    /** Returns a command with standard error on the terminal. */
    Arguments onTheTerminal(const std::string& line, const TestPeer& peer) const {
        Arguments command{"sh", "-c", std::string("exec ") + RYNVEL_EMULATOR + " \"$0\" \"$@\" 2>" + m_name,
                          RYNVELCTL_FOR_TESTS};
        for (const std::string& word : words("--map board.svd --type Uio32 --remote " + peer.address() + ' ' + line)) {
            command.push_back(word);
        }
        return command;
    }

    /** Runs a command with standard error on the terminal. Returns the output on the terminal. */
    std::string shown(const std::string& line, const TestPeer::Service& service, const std::string& output,
                      int status = 0) {
        const TestPeer peer(service);
        const Ending ending = Process(onTheTerminal(line, peer), {enter(m_folder.path()), {}}).wait();
        EXPECT_EQ(ending.status, status) << line;
        EXPECT_EQ(ending.output, output) << line;
        return terminalText();
    }

    std::string terminalText() const {
        // The terminal delivers its bytes in order, but possibly with a delay.
        const char end = '|';
        EXPECT_EQ(write(m_other, &end, 1), 1);
        std::string text;
        for (char byte = '\0'; read(m_terminal, &byte, 1) == 1 && byte != end;) {
            text += byte;
        }
        return text;
    }

    /**
     * @param end the text that the terminal shows after the erased bar.
     * @param others the argument of ProgressBar::erase().
     */
    static void expectErasedBar(const std::string& text, const std::string& end = "", std::size_t others = 0) {
        const std::string start = "\rremote [";
        EXPECT_EQ(text.substr(0, start.size()), start);
        const std::size_t length = text.find('\r', 1) - 1 + others;
        const std::string last = '\r' + std::string(length, ' ') + '\r' + end;
        EXPECT_EQ(text.substr(text.size() - std::min(text.size(), last.size())), last);
    }

    void expectWholeBar(const std::string& line, std::size_t lateAccess, const std::string& output = "") {
        const std::string text = shown(line, serviceWith(lateAccess), output);
        EXPECT_NE(text.find("100 %"), std::string::npos) << text;
        expectErasedBar(text);
    }

    TestFolder m_folder;
    int m_terminal = -1;
    int m_other = -1;
    char m_name[64] = "";
};

TEST_F(SlowDevice, ShowsTheProgressOfACommandOnATerminal) {
    // These commands draw the full bar after the last access.
    expectWholeBar("dump remote 0 12 --quiet", 12, [] {
        std::string lines;
        for (int i = 0; i < 12; ++i) {
            lines += "0x00000007\n";
        }
        return lines;
    }());
    expectWholeBar("load remote 0 bytes --quiet", 12);
    expectWholeBar("fill remote 0 12 1 --quiet", 12);
    // These commands draw the full bar before the last access.
    expectWholeBar("save remote saved --quiet", 11);
    expectWholeBar("restore remote saved --quiet", 11);
    expectWholeBar("diff remote saved --quiet", 11);
}

TEST_F(SlowDevice, ShowsAnErrorMessageInPlaceOfTheProgress) {
    const std::string text = shown("fill remote 0 100 1 -t 1500ms", serviceWith(12, 88), "", 4);
    const std::size_t message = text.find("rynvelctl: ");
    ASSERT_NE(message, std::string::npos) << text;
    EXPECT_NE(text.find(" of 100 registers written; unknown whether written: 0x", message), std::string::npos) << text;
    expectErasedBar(text.substr(0, message));
}

TEST_F(SlowDevice, ErasesTheProgressLineOnASignal) {
    for (const std::string line : {"fill remote 0 100 1", "dump remote 0 100"}) {
        const TestPeer peer(serviceWith(2, 99));
        Process program(onTheTerminal(line, peer), {enter(m_folder.path()), {}});
        char first = '\0';
        ASSERT_EQ(read(m_terminal, &first, 1), 1);
        program.signal(SIGINT);
        EXPECT_EQ(program.wait().status, -SIGINT);
        const std::string text = first + terminalText();
        const std::size_t message = std::min(text.find("rynvelctl: remote: interrupted ("), text.size());
        EXPECT_EQ(message == text.size(), line.front() == 'd') << text;
        expectErasedBar(text.substr(0, message), "", std::string("^C").size());
    }
}

TEST_F(SlowDevice, ShowsNothingDuringAShortCommand) {
    const auto atOnce = [](auto&&...) { return success(); };
    EXPECT_EQ(shown("load remote 0 bytes --quiet", atOnce, ""), "");
}

TEST_F(SlowDevice, ShowsNoProgressInAPipe) {
    const TestPeer peer(serviceWith(12));
    expectEnding(runProgram(RYNVELCTL_FOR_TESTS,
                            words("--type Uio32 --quiet --remote " + peer.address() + " load remote 0 bytes"),
                            m_folder.path()),
                 0, "");
}

} // namespace
} // namespace RynvelTest
