// SPDX-License-Identifier: MIT
#include <array>
#include <chrono>
#include <regex>

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "DescribedDevice.h"
#include "DescribedProgram.h"
#include "Program.h"
#include "TestPeer.h"

namespace RynvelTest {
namespace {

/** Returns registers with fields that a write of another field must not change. */
std::string protectedRegisters() {
    return registerAt("CTRL", "0", fieldsOf(fieldAt("RUN", "0:0") + fieldAt("MODE", "5:4"))) +
           registerAt("KEYED", "4",
                      fieldsOf(fieldAt("RUN", "0:0") + fieldAt("KEY", "7:4", "<access>write-only</access>"))) +
           registerAt("FLAGS", "8",
                      fieldsOf(fieldAt("MODE", "1:1") + fieldAt("ENABLE", "2:2") +
                               fieldAt("ERROR", "7:7", "<modifiedWriteValues>oneToClear</modifiedWriteValues>")));
}

/** Runs rynvelctl with files of commands. */
class CommandFiles : public DescribedProgram {
protected:
    CommandFiles() : DescribedProgram(timerMap()) { m_folder.store("registers8", std::string(64, '\0')); }

    /** Runs commands from a file. @param options the options that follow the name of the file. */
    Ending run(const std::string& commands, const std::string& options = "") const {
        m_folder.store("script", commands);
        return runProgram(RYNVELCTL_FOR_TESTS, arguments("run script " + options), m_folder.path());
    }

    /** Runs commands from standard input. */
    Ending runInput(const std::string& commands, const std::string& options = "") const {
        m_folder.store("script", commands);
        return start(options, "script").wait();
    }

    /**
     * Runs commands from a file and from standard input, and expects the same result.
     *
     * @param problem the error message without the name of the file.
     */
    void expectBoth(const std::string& commands, int status, const std::string& output,
                    const std::string& problem = "") const {
        expectEnding(run(commands), status, output, problem.empty() ? "" : "script" + problem);
        expectEnding(runInput(commands), status, output, problem.empty() ? "" : '-' + problem);
    }

    /**
     * Runs commands from a file without an end.
     *
     * @param line the line that the file repeats.
     * @param options the arguments of `run`, including the name of the file.
     */
    Ending runEndless(const std::string& line, const std::string& options) const {
        // The limit of the processor time ends a program that ignores its time-out.
        const std::string preparation = enter(m_folder.path()) + "ulimit -t 10; yes '" + line + "' 2>/dev/null | ";
        return Process(commandOf(RYNVELCTL_FOR_TESTS, words("run " + options)), {preparation, {}}).wait();
    }

    /**
     * Runs commands from a file with another standard output.
     *
     * @param output the descriptor of standard output, which this function closes.
     */
    Ending runWithOutput(int output, const std::string& commands, const std::string& options = "") const {
        m_folder.store("script", commands);
        Program program(RYNVELCTL_FOR_TESTS, arguments("run script " + options), m_folder.path(), output);
        close(output);
        return program.wait();
    }

    /** Returns the write end of a pipe without a reader. */
    static int outputWithoutAReader() {
        std::array<int, 2> ends{};
        EXPECT_EQ(pipe2(ends.data(), O_CLOEXEC), 0);
        close(ends[0]);
        return ends[1];
    }

    /** Runs commands from a file with a standard output without a reader. */
    Ending runWithoutAReader(const std::string& commands, const std::string& options = "") const {
        return runWithOutput(outputWithoutAReader(), commands, options);
    }

    /** Runs commands from a pipe that stays open, with a standard output without a reader. */
    Ending runInputWithoutAReader(const std::string& commands, const std::string& options = "") const {
        std::array<int, 2> input{};
        EXPECT_EQ(pipe2(input.data(), O_CLOEXEC), 0);
        EXPECT_EQ(write(input[1], commands.data(), commands.size()), static_cast<ssize_t>(commands.size()));
        const int output = outputWithoutAReader();
        Process program(commandOf(RYNVELCTL_FOR_TESTS, words("run - " + options)),
                        {enter(m_folder.path()) + "exec <&3 && ", {input[0]}, output});
        close(output);
        const Ending ending = program.wait();
        close(input[0]);
        close(input[1]);
        return ending;
    }

    Program start(const std::string& options, const std::string& input) const {
        return {RYNVELCTL_FOR_TESTS, arguments("run - " + options), m_folder.path(), input};
    }

    void makeFifo() const { ASSERT_EQ(mkfifo((m_folder.path() + "/fifo").c_str(), 0600), 0); }

    int openFifo() const { return open((m_folder.path() + "/fifo").c_str(), O_WRONLY | O_CLOEXEC); }
};

TEST_F(CommandFiles, RunLineByLine) {
    const std::string commands = "# Starts the timer.\n"
                                 "\n"
                                 "   \t\n"
                                 "write map32 CTRL RUN=1 MODE=fast GAIN=2   # in one write\r\n"
                                 "read map32 CTRL.RUN LEVEL0\n"
                                 "write map32 LEVEL0=7 LEVEL1=8\n"
                                 "expect map32 LEVEL1 8\n"
                                 "dump file8 0 2";
    const std::string output = "map32 CTRL.RUN = 1 (running)\nmap32 CTRL.MODE = 4 (fast)\nmap32 CTRL.GAIN = 2\n"
                               "map32 CTRL.RUN = 1 (running)\nmap32 LEVEL0 = 0x00000000\n"
                               "map32 LEVEL0 = 0x00000007\nmap32 LEVEL1 = 0x00000008\n"
                               "0x00000000: 00 00\n";
    expectEnding(run(commands), 0, output);
    EXPECT_EQ(get(0), 0x241U);
    m_folder.store("map", std::string(4096, '\0'));
    expectEnding(runInput(commands), 0, output);
    expectEnding(run(""), 0, "");
    expectEnding(runInput("#\n"), 0, "");
    expectEnding(run("read file8 0\nread map32 LEVEL0\n", "--quiet"), 0, "0x00\n0x00000007\n");
    expectEnding(run("read file8 0\nread file8 1\n", "--json"), 0,
                 "{\"name\":\"file8\",\"address\":0,\"value\":0}\n{\"name\":\"file8\",\"address\":1,\"value\":0}\n");
}

TEST_F(CommandFiles, KeepTheirDevicesOpen) {
    TestPeer peer;
    peer.script({success(), success({1}), success(), success({3}), success({4})});
    expectEnding(run("read map32 LEVEL0\nwrite map32 LEVEL0 2\nexpect map32 LEVEL0 3\nread map32 LEVEL1\n",
                     "--remote " + peer.address()),
                 0, "map32 LEVEL0 = 0x00000001\nmap32 LEVEL0 = 0x00000002\nmap32 LEVEL1 = 0x00000004\n");
    const auto requests = peer.requests(5);
    EXPECT_EQ(requests.size(), 5U);
    for (const auto& request : requests) {
        EXPECT_EQ(request.connection, 0U);
    }
}

TEST_F(CommandFiles, OpenADeviceAgainAfterARequestWithoutAnAnswer) {
    TestPeer peer;
    peer.script({success(), closing(), success(), success({7}), success({8})});
    expectEnding(run("read file8 0\nread file8 1\nread file8 2\n", "--keep-going --remote " + peer.address()), 3,
                 "file8 0x00000001 = 0x07\nfile8 0x00000002 = 0x08\n",
                 "script:1: " + peer.address() + ": the connection was closed");
    const auto requests = peer.requests(5);
    ASSERT_EQ(requests.size(), 5U);
    EXPECT_EQ(requests[2].connection, 1U);
    EXPECT_EQ(requests[4].connection, 1U);
}

TEST_F(CommandFiles, OpenADeviceAgainAfterTheServerHasClosedAnIdleConnection) {
    TestPeer peer;
    peer.script({success(), success(), success(), success({7})});
    makeFifo();
    Program program = start("--remote " + peer.address(), "fifo");
    const int input = openFifo();
    ASSERT_EQ(write(input, "write map32 0 1\n", 16), 16);
    EXPECT_EQ(program.outputLine(), "map32 0x00000000 = 0x00000001");
    peer.close(0);
    ASSERT_EQ(write(input, "read map32 4\n", 13), 13);
    close(input);
    expectEnding(program.wait(), 0, "map32 0x00000004 = 0x00000007\n");
    const auto requests = peer.requests(4);
    ASSERT_EQ(requests.size(), 4U);
    EXPECT_EQ(requests[1].connection, 0U);
    EXPECT_EQ(requests[2].connection, 1U);
    EXPECT_EQ(requests[3].connection, 1U);
}

TEST_F(CommandFiles, RunNoLineIfALineIsWrong) {
    for (const std::string options : {"", "--keep-going"}) {
        expectEnding(run("write map32 0 1\n\nraed map32 0\nread map32\nread map32 0 --json\nrun script\n", options), 2,
                     "",
                     "script:3: unknown command 'raed' (did you mean 'read'?)\n"
                     "rynvelctl: script:4: ADDRESS is required\n"
                     "rynvelctl: script:5: --json: a line cannot contain global options (give the option with run)\n"
                     "rynvelctl: script:6: run: a line cannot run a file of commands (give the commands themselves)");
    }
    EXPECT_EQ(get(0), 0U);
}

TEST_F(CommandFiles, RefuseOptionsAndWordsThatOnlyTheCommandLineMayHave) {
    const std::string hint = ": a line cannot contain global options (give the option with run)";
    for (const std::string option : {"--json", "--timeout=1s", "-q", "--help", "--version"}) {
        const std::string name = option.substr(0, option.find('='));
        expectBoth("read map32 0 " + option + '\n', 2, "", ":1: " + name + hint);
    }
    expectBoth("rynvelctl read file8 0\n", 2, "",
               ":1: rynvelctl: a line begins with a command (leave out the name of the program)");
    expectBoth("maps -- list\n", 2, "", ":1: maps: the command 'list' cannot follow -- (leave out --)");
}

TEST_F(CommandFiles, RefuseALineWithoutACommand) {
    for (const std::string line : {"--", "-- write map32 0 9", "-- expect map32 0 99", "-- maps list"}) {
        expectBoth(line + '\n', 2, "", ":1: the command is missing (a comment begins with #)");
    }
    EXPECT_EQ(get(0), 0U);
}

TEST_F(CommandFiles, RefuseALineThatIsNotText) {
    using namespace std::string_literals;
    const std::string nul = ": the line contains a NUL byte (give a text file in UTF-8)";
    expectBoth("\nwrite map32 0 0x1\0002345\n"s, 2, "", ":2" + nul);
    expectBoth("write map32 0 0x12\0\0\0\0"s, 2, "", ":1" + nul);
    expectBoth("write map32 0 1 # \0\n"s, 2, "", ":1" + nul);
    expectBoth("\xff\xfew\0r\0i\0t\0e\0"s, 2, "", ":1" + nul);
    const std::string carriageReturn = ": the line contains a carriage return (end each line with a line feed)";
    expectBoth("# Writes.\rwrite map32 0 2\r", 2, "", ":1" + carriageReturn);
    expectBoth("write map32 0 2\rwrite map32 4 2\n", 2, "", ":1" + carriageReturn);
    EXPECT_EQ(get(0), 0U);
}

TEST_F(CommandFiles, MayHaveCarriageReturnsBeforeLineEndsAndAByteOrderMark) {
    expectBoth("write map32 LEVEL0=1 LEVEL1=2\r\nexpect map32 LEVEL1 2\r\n\r\nread file8 0\r", 0,
               "map32 LEVEL0 = 0x00000001\nmap32 LEVEL1 = 0x00000002\nfile8 0x00000000 = 0x00\n");
    expectBoth("\xef\xbb\xbfread file8 0\n", 0, "file8 0x00000000 = 0x00\n");
    expectBoth("\xef\xbb\xbf# Reads.\nread file8 0\n", 0, "file8 0x00000000 = 0x00\n");
}

TEST_F(CommandFiles, RunUpToAWrongLineOfStandardInput) {
    expectEnding(runInput("write map32 0 1\nraed map32 0\nwrite map32 0 2\n"), 2, "map32 0x00000000 = 0x00000001\n",
                 "-:2: unknown command 'raed' (did you mean 'read'?)");
    EXPECT_EQ(get(0), 1U);
}

TEST_F(CommandFiles, EndAtTheFirstFailureWithItsStatus) {
    expectEnding(run("read file8 0\nread file8 64\nwrite map32 0 1\n"), 1, "file8 0x00000000 = 0x00\n",
                 "script:2: file8: reading 0x00000040 failed");
    expectEnding(run("read missing 0\nread nothing 0\n"), 3, "",
                 "script:1: missing: nowhere/registers: No such file or directory");
    expectEnding(run("read map32 CTLR\n"), 2, "",
                 "script:1: map32: 'CTLR' is not a name in board.svd (did you mean 'CTRL'?)");
    EXPECT_EQ(get(0), 0U);
}

TEST_F(CommandFiles, KeepGoingAfterAFailureOnRequest) {
    expectEnding(run("read file8 64\nread nothing 0\nread map32 ACK\nread file8 1\n", "--keep-going"), 1,
                 "file8 0x00000001 = 0x00\n",
                 "script:1: file8: reading 0x00000040 failed\n"
                 "rynvelctl: script:2: nothing: not a device of this machine ('rynvelctl list' shows the names)\n"
                 "rynvelctl: script:3: map32: register ACK is write-only");
    expectEnding(runInput("frob\nread file8 64\nread file8 1\n", "--keep-going"), 2, "file8 0x00000001 = 0x00\n",
                 "-:1: unknown command 'frob'\nrynvelctl: -:2: file8: reading 0x00000040 failed");
    expectEnding(run("read file8 0\n", "--keep-going"), 0, "file8 0x00000000 = 0x00\n");
}

TEST_F(CommandFiles, RunAllLinesEvenIfTheOutputHasNoReader) {
    const std::string commands = "write map32 0x100 1\nsleep 10ms\nread map32 0x100 0x104\nwatch map32 0x100\n"
                                 "write map32 0x104 2\n";
    const auto expectLoss = [this](const Ending& ending, const std::string& reason) {
        expectEnding(ending, 1, "", "script:1: standard output: " + reason);
        EXPECT_EQ(get(0x100), 1U);
        EXPECT_EQ(get(0x104), 2U);
        m_folder.store("map", std::string(4096, '\0'));
    };
    expectLoss(runWithoutAReader(commands), "Broken pipe");
    expectLoss(runWithOutput(open("/dev/full", O_WRONLY | O_CLOEXEC), "write map32 0x100 1\nwrite map32 0x104 2\n"),
               "No space left on device");
    expectEnding(runWithoutAReader("write map32 0x100 1\nsleep 10ms\nwrite map32 0x104 2\n", "--quiet"), 0, "");
    EXPECT_EQ(get(0x104), 2U);
}

TEST_F(CommandFiles, RestoreAllRegistersEvenIfTheOutputHasNoReader) {
    m_folder.store("board.svd",
                   mapOfPeripherals(peripheralOf("map32", "", registerAt("A", "0", "") + registerAt("B", "4", ""))));
    expectEnding(runWithoutAReader("save map32 s\nwrite map32 A=7\nrestore map32 s\nsave map32 -\nwrite map32 B=2\n"),
                 1, "", "script:1: standard output: Broken pipe");
    EXPECT_EQ(get(0), 0U);
    EXPECT_EQ(get(4), 2U);
}

TEST_F(CommandFiles, WaitForInterruptsEvenIfTheOutputHasNoReader) {
    const TestPeer peer;
    expectEnding(
        runWithoutAReader("wait remote --each 20ms\nwrite remote 0 1\n", "--type Uio32 --remote " + peer.address()), 4,
        "", "script:1: remote: no interrupt within 20 ms");
}

TEST_F(CommandFiles, EndWithTheStatusOfTheFirstFailureEvenIfTheOutputHasNoReader) {
    const std::string problem = ":1: missing: nowhere/registers: No such file or directory";
    const std::string loss = ":2: standard output: Broken pipe";
    expectEnding(runWithoutAReader("read missing 0\nread file8 0\n", "--keep-going"), 3, "",
                 "script" + problem + "\nrynvelctl: script" + loss);
    expectEnding(runInputWithoutAReader("read missing 0\nread file8 0\n", "--keep-going"), 3, "",
                 '-' + problem + "\nrynvelctl: -" + loss);
    // The command of the line has no output, so the program loses nothing, although standard output has no reader.
    expectEnding(runInputWithoutAReader("read missing 0\n", "--keep-going"), 3, "", '-' + problem);
    // The failure of a command determines the status, even after a failure of standard output.
    expectEnding(runWithoutAReader("read file8 0\nread missing 0\n"), 3, "",
                 "script:1: standard output: Broken pipe\n"
                 "rynvelctl: script:2: missing: nowhere/registers: No such file or directory");
}

TEST_F(CommandFiles, EndAtTheLineOfStandardInputWhoseOutputIsLost) {
    for (const std::string options : {"", "--keep-going"}) {
        expectEnding(runInputWithoutAReader("read file8 0\nwrite map32 0 1\n", options), 1, "",
                     "-:1: standard output: Broken pipe");
        expectEnding(runInputWithoutAReader("sleep 1m\nwrite map32 0 1\n", options), 1, "",
                     "-:1: standard output: Broken pipe");
    }
    EXPECT_EQ(get(0), 0U);
}

TEST_F(CommandFiles, RefuseAWriteThatWouldChangeOtherFields) {
    m_folder.store("board.svd", mapOfPeripherals(peripheralOf("map32", "", protectedRegisters())));
    const std::string refusal = "map32: field KEYED.KEY is write-only, so it cannot keep its value ";
    const std::string hint = "(use write REGISTER FIELD=VALUE ..., and also assign KEY)";
    expectEnding(run("write map32 CTRL.RUN 1\nwrite map32 KEYED.RUN 1\nwrite map32 CTRL.RUN 0\n"), 2,
                 "map32 CTRL.RUN = 1\n", "script:2: " + refusal + hint);
    EXPECT_EQ(get(0), 1U);
    EXPECT_EQ(get(4), 0U);
    expectEnding(run("write map32 CTRL.MODE=2 KEYED.RUN=1\nset map32 KEYED RUN\nwrite map32 KEYED 1 --mask 1\n"
                     "clear map32 CTRL RUN\n",
                     "--keep-going"),
                 2, "map32 CTRL.RUN = 0\n",
                 "script:1: " + refusal + hint + "\nrynvelctl: script:2: " + refusal + hint +
                     "\nrynvelctl: script:3: " + refusal + "(also select all bits of KEY with the mask)");
    EXPECT_EQ(get(0), 0U);
    EXPECT_EQ(get(4), 0U);
}

TEST_F(CommandFiles, LeaveFieldsThatAOneClearsAlone) {
    m_folder.store("board.svd", mapOfPeripherals(peripheralOf("map32", "", protectedRegisters())));
    expectEnding(run("write map32 8 0x80\nset map32 FLAGS ENABLE\nwrite map32 FLAGS.MODE 1\nread map32 8\n", "--quiet"),
                 0, "0x00000006\n");
}

TEST_F(CommandFiles, WaitForTheirFilesNoLongerThanTheTimeout) {
    makeFifo();
    expectEnding(run("read file8 0\nrestore map32 fifo\nread file8 1\n", "--timeout 500ms --keep-going"), 4,
                 "file8 0x00000000 = 0x00\n", "script:2: fifo: timed out after 500 ms");
}

TEST_F(CommandFiles, WaitForTheWriterOfANamedPipeNoLongerThanTheTimeout) {
    makeFifo();
    expectEnding(runProgram(RYNVELCTL_FOR_TESTS, words("run fifo --timeout 500ms"), m_folder.path()), 4, "",
                 "fifo: timed out after 500 ms");
    Program program(RYNVELCTL_FOR_TESTS, words("run fifo"), m_folder.path());
    const int input = openFifo();
    ASSERT_EQ(write(input, "read file8 0\n", 13), 13);
    ASSERT_EQ(write(input, "read file8 1\n", 13), 13);
    close(input);
    expectEnding(program.wait(), 0, "file8 0x00000000 = 0x00\nfile8 0x00000001 = 0x00\n");
}

TEST_F(CommandFiles, SayThatACommandWithoutAMessageHasFailed) {
    expectEnding(run("save map32 a\nwrite map32 LEVEL0 1\ndiff map32 a\nread file8 0\n", "--quiet"), 1, "",
                 "script:1: map32: left out: STATUS (reading has a side effect; --with-side-effects includes them)\n"
                 "rynvelctl: script:1: map32: left out: register WIDE has 64 bits (the device has 32-bit registers)\n"
                 "rynvelctl: script:3: the command ended with status 1");
}

TEST_F(CommandFiles, DoNotApplyTheOptionsOfALineToOtherLines) {
    const std::string commands = "write map32 0x18 0xff --mask 0xf\nwrite map32 0x18 0xff\nread map32 --index 6\n"
                                 "read map32 0x18\nwrite map32 LEVEL0=1 LEVEL1=2\nwrite map32 LEVEL0 3\n";
    const std::string output = "map32 0x00000018 = 0x0000000f with mask 0x0000000f\nmap32 0x00000018 = 0x000000ff\n"
                               "map32 6 = 0x000000ff\nmap32 0x00000018 = 0x000000ff\nmap32 LEVEL0 = 0x00000001\n"
                               "map32 LEVEL1 = 0x00000002\nmap32 LEVEL0 = 0x00000003\n";
    expectEnding(run(commands), 0, output);
    expectEnding(runInput(commands), 0, output);
    // The settings that `set` and `toggle` make internally must not carry over to the next line.
    expectEnding(
        run("set map32 0x100 0\ntoggle map32 0x100 0\ntoggle map32 0x100 1\ntoggle map32 0x100 1\n", "--quiet"), 0, "");
    EXPECT_EQ(get(0x100), 0U);
    // The options of a wrong line must not carry over, either.
    expectEnding(runInput("write map32 0x18 0xf --mask 0xf --frob\nwrite map32 0x18 0\n", "--keep-going"), 2,
                 "map32 0x00000018 = 0x00000000\n", "-:1: unknown option '--frob'");
    EXPECT_EQ(get(0x18), 0U);
}

TEST_F(CommandFiles, AnswerEachLineOfStandardInputAtOnce) {
    makeFifo();
    Program program = start("", "fifo");
    const int input = openFifo();
    ASSERT_EQ(write(input, "read file8 0\n", 13), 13);
    EXPECT_EQ(program.outputLine(), "file8 0x00000000 = 0x00");
    ASSERT_EQ(write(input, "read fi", 7), 7);
    ASSERT_EQ(write(input, "le8 1\nread file8 2", 18), 18);
    EXPECT_EQ(program.outputLine(), "file8 0x00000001 = 0x00");
    close(input);
    expectEnding(program.wait(), 0, "file8 0x00000002 = 0x00\n");
}

TEST_F(CommandFiles, WaitForStandardInputNoLongerThanTheTimeout) {
    makeFifo();
    Program program = start("--timeout 100ms", "fifo");
    const int input = openFifo();
    expectEnding(program.wait(), 4, "", "-: timed out after 100 ms");
    Program keepGoing = start("--timeout 200ms --keep-going", "fifo");
    const int other = openFifo();
    ASSERT_EQ(write(other, "frob\n", 5), 5);
    expectEnding(keepGoing.wait(), 2, "", "-:1: unknown command 'frob'\nrynvelctl: -: timed out after 200 ms");
    close(input);
    close(other);
}

TEST_F(CommandFiles, EndWithTheReaderOfTheOutputIfTheyAreStandardInput) {
    makeFifo();
    Program program = start("", "fifo");
    const int input = openFifo();
    program.closeOutput();
    expectEnding(program.wait(), 0, "");
    close(input);
}

TEST_F(CommandFiles, AreRefusedIfTheyCannotBeRead) {
    const auto expectProblem = [this](const std::string& file, const std::string& problem) {
        expectEnding(runProgram(RYNVELCTL_FOR_TESTS, {"run", file}, m_folder.path()), 2, "", problem);
    };
    expectProblem("nowhere", "nowhere: No such file or directory");
    expectProblem(".", ".: Is a directory");
    expectProblem("/dev/zero", "/dev/zero:1: the line has more than 65536 bytes");
}

TEST_F(CommandFiles, EndAfterTheLastLineIfReadingStandardInputFails) {
    std::array<int, 2> ends{};
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()), 0);
    Process program(commandOf(RYNVELCTL_FOR_TESTS, words("run - --keep-going")),
                    {enter(m_folder.path()) + "exec <&3 && ", {ends[1]}, Process::toTheTest});
    ASSERT_EQ(write(ends[0], "read file8 0\n", 13), 13);
    EXPECT_EQ(program.outputLine(), "file8 0x00000000 = 0x00");
    // If a socket is closed before all received bytes are read, the kernel resets the connection of the peer.
    ASSERT_EQ(write(ends[1], "x", 1), 1);
    close(ends[0]);
    expectEnding(program.wait(), 2, "", "-: Connection reset by peer");
    close(ends[1]);
}

TEST_F(CommandFiles, HaveLinesUpToALimit) {
    const std::string command = "read file8 0";
    const auto lineOf = [&command](std::size_t size) { return command + std::string(size - command.size(), ' '); };
    for (const std::string end : {"\n", ""}) {
        expectBoth(lineOf(65536) + end, 0, "file8 0x00000000 = 0x00\n");
        expectBoth("# " + std::string(65534, 'x') + end, 0, "");
        for (const std::size_t size : {65537U, 66000U, 70000U, 200000U}) {
            expectBoth(lineOf(size) + end, 2, "", ":1: the line has more than 65536 bytes");
        }
    }
    const std::string comment = '#' + std::string(100000, 'x') + '\n';
    expectEnding(runInput(comment + "read file8 1\n" + comment + "read file8 2", "--keep-going"), 2,
                 "file8 0x00000001 = 0x00\nfile8 0x00000002 = 0x00\n",
                 "-:1: the line has more than 65536 bytes\nrynvelctl: -:3: the line has more than 65536 bytes");
    expectEnding(run("read file8 1\n" + comment, "--keep-going"), 2, "",
                 "script:2: the line has more than 65536 bytes");
    expectEnding(runInput("read file8 1\n#" + std::string(100000, 'x'), "--keep-going"), 2, "file8 0x00000001 = 0x00\n",
                 "-:2: the line has more than 65536 bytes");
}

TEST_F(CommandFiles, MayHaveManyLines) {
    std::string commands;
    std::string output;
    for (int i = 0; i < 1000; ++i) {
        commands += "read file8 " + std::to_string(i % 10) + " # " +
                    std::string(static_cast<std::size_t>(i % 97), 'x') + (i % 2 == 0 ? "\n" : "\n\n");
        output += "file8 0x0000000" + std::to_string(i % 10) + " = 0x00\n";
    }
    expectBoth(commands, 0, output);
}

TEST_F(CommandFiles, SleepBetweenCommands) {
    const auto start = std::chrono::steady_clock::now();
    expectEnding(run("read file8 0\nsleep 150ms\nread file8 1\n"), 0,
                 "file8 0x00000000 = 0x00\nfile8 0x00000001 = 0x00\n");
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(150));
    expectEnding(run("sleep 1m\nread file8 1\n", "--timeout 500ms --keep-going"), 4, "",
                 "script:1: sleep: timed out after 500 ms");
    expectEnding(run("sleep soon\n"), 2, "",
                 "script:1: sleep: 'soon' is not a time (a number with the unit ms, s, m or h, in whole "
                 "milliseconds, at most one day)");
}

TEST_F(CommandFiles, AreReadNoLongerThanTheTimeout) {
    expectEnding(runEndless("", "/dev/stdin --timeout 100ms"), 4, "", "/dev/stdin: timed out after 100 ms");
    expectEnding(runEndless("", "- --timeout 100ms --keep-going"), 4, "", "-: timed out after 100 ms");
    expectEnding(runEndless("sleep 0", "/dev/stdin --timeout 100ms"), 4, "", "/dev/stdin: timed out after 100 ms");
}

TEST_F(CommandFiles, RunNoLongerThanTheTimeoutEvenIfNoLineWaits) {
    m_folder.store("big.svd",
                   mapOfPeripherals(peripheralOf(
                       "map32", "", registerAt("R%s", "0", "<dim>10000</dim><dimIncrement>4</dimIncrement>"))));
    std::string commands = "read missing 0\n";
    for (int i = 0; i < 300; ++i) {
        commands += "maps check big.svd\n";
    }
    const std::string notRun = R"(:\d+: timed out after 500 ms \(this line and the lines after it were not run\)\n)";
    const Ending ending = runInput(commands, "--quiet --timeout 500ms --keep-going");
    EXPECT_EQ(ending.status, 3);
    EXPECT_TRUE(std::regex_match(ending.error, std::regex("rynvelctl: -:1: missing: [^\n]*\nrynvelctl: -" + notRun)))
        << ending.error;
    const Ending other = run(commands.substr(commands.find('\n') + 1), "--quiet --timeout 500ms");
    EXPECT_EQ(other.status, 4);
    EXPECT_TRUE(std::regex_match(other.error, std::regex("rynvelctl: script" + notRun))) << other.error;
}

TEST_F(CommandFiles, ExpectValues) {
    expectEnding(run("write map32 CTRL RUN=1 MODE=4 GAIN=1\n"
                     "expect map32 0 0x141\nexpect map32 --index 0 321\nexpect map32 CTRL 0b101000001\n"
                     "expect map32 CTRL.RUN 1\nexpect map32 CTRL.RUN running\nexpect map32 CTRL.MODE fast\n"
                     "expect map32 CTRL[6:4] 4\nexpect map32 0 0x40 --mask 0xf0\nexpect map32 CTRL.MODE slow --not\n",
                     "--quiet"),
                 0, "");
    const auto expectProblem = [this](const std::string& line, int status, const std::string& problem) {
        expectEnding(run("expect map32 " + line + '\n'), status, "", "script:1: map32: " + problem);
    };
    expectProblem("0 0x140", 1, "register 0x00000000 is not 0x140 (the value is 0x00000141)");
    expectProblem("CTRL 0", 1, "register CTRL is not 0 (the value is 0x00000141)");
    expectProblem("CTRL.RUN stopped", 1, "field CTRL.RUN is not stopped (the value is 1 (running))");
    expectProblem("CTRL.MODE 3", 1, "field CTRL.MODE is not 3 (the value is 4 (fast))");
    expectProblem("CTRL[6:4] 3", 1, "CTRL[6:4] is not 3 (the value is 0x4)");
    expectProblem("CTRL 0x41 --mask 0xff --not", 1,
                  "register CTRL with mask 0xff is still 0x41 (the value is 0x00000141)");
    expectProblem("ACK 0", 2, "register ACK is write-only");
    expectProblem("CTRL.RUN 2", 2, "field CTRL.RUN: '2' does not fit in 1 bit");
    expectProblem("CTRL.RUN idle", 2,
                  "field CTRL.RUN: 'idle' is not a value of the field (give a number, stopped or running)");
    expectEnding(runProgram(RYNVELCTL_FOR_TESTS, words("expect file8 0 1"), m_folder.path()), 1, "",
                 "file8: register 0x00000000 is not 1 (the value is 0x00)");
    expectEnding(runProgram(RYNVELCTL_FOR_TESTS, words("expect file8 0 0"), m_folder.path()), 0, "");
}

} // namespace
} // namespace RynvelTest
