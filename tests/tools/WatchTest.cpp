// SPDX-License-Identifier: MIT
#include <atomic>
#include <csignal>
#include <filesystem>
#include <regex>

#include <fcntl.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "DescribedDevice.h"
#include "DescribedProgram.h"
#include "RegisterFile.h"
#include "TerminalProcess.h"
#include "TestPeer.h"

namespace RynvelTest {
namespace {

const std::string watchedRegisters =
    registerAt("CTRL", "0",
               fieldsOf(fieldAt("RUN", "0:0",
                                "<enumeratedValues><enumeratedValue><name>stopped</name><value>0</value>"
                                "</enumeratedValue><enumeratedValue><name>running</name><value>1</value>"
                                "</enumeratedValue></enumeratedValues>"))) +
    registerAt("DATA", "4", "") + registerAt("ODD,NAME", "8", "") +
    registerAt("FIFO", "0xC", "<readAction>modify</readAction>" + fieldsOf(fieldAt("LEVEL", "3:0", ""))) +
    registerAt("\u6e29\u5ea6\u30bb\u30f3\u30b5\u30fc", "0x10", "") + registerAt("CTL\u009b31m\u202eA", "0x14", "");

/** Runs `watch`, with and without a terminal, on a register that changes at each step of a test. */
class Watch : public DescribedProgram {
protected:
    Watch()
        : DescribedProgram(mapOfPeripherals(peripheralOf("map32", "", watchedRegisters))),
          m_registers(open((m_folder.path() + "/map").c_str(), O_RDWR | O_CLOEXEC)) {}

    Program start(const std::string& line) const { return {RYNVELCTL_FOR_TESTS, arguments(line), m_folder.path()}; }

    /** Expects the first line, changes a register, and expects the line of the change. */
    void expectChange(const std::string& options, const std::string& first, const std::string& change) {
        m_registers.poke(0, 0);
        Program program = start("watch map32 CTRL.RUN --interval 1ms " + options);
        EXPECT_EQ(withoutTimes(program.outputLine()), first) << options;
        m_registers.poke(0, 1);
        EXPECT_EQ(withoutTimes(program.outputLine()), change) << options;
        program.signal(SIGINT);
        expectEnding(program.wait(), -SIGINT, "");
    }

    RegisterFile<std::uint32_t> m_registers;
};

TEST_F(Watch, PrintsLinesInAGivenFormat) {
    expectChange("--format %t|%d|%a|%n|%v|%o|%%", "TIME|map32|0x00000000|CTRL.RUN|0||%",
                 "TIME|map32|0x00000000|CTRL.RUN|1|0|%");
    expectChange("--base 2 --format %v,%o", "0b0,", "0b1,0b0");
    expect("watch map32 4 CTRL[0:0] --count 2 --interval 1ms --format %a/%n/%v", 0,
           "0x00000004/0x00000004/0x00000000\n0x00000000/CTRL[0:0]/0x1\n");
    expect("watch map32 1 --index --count 1 --format=%a:%v", 0, "1:0x00000000\n");
}

TEST_F(Watch, PrintsCommaSeparatedValues) {
    Program program = start("watch map32 CTRL.RUN ODD,NAME --interval 1ms --csv");
    EXPECT_EQ(program.outputLine(), "time,device,address,name,value,old");
    EXPECT_EQ(withoutTimes(program.outputLine()), "TIME,map32,0x00000000,CTRL.RUN,0,");
    EXPECT_EQ(withoutTimes(program.outputLine()), "TIME,map32,0x00000008,\"ODD,NAME\",0x00000000,");
    m_registers.poke(2, 5);
    EXPECT_EQ(withoutTimes(program.outputLine()), "TIME,map32,0x00000008,\"ODD,NAME\",0x00000005,0x00000000");
    program.signal(SIGINT);
    expectEnding(program.wait(), -SIGINT, "");
}

TEST_F(Watch, RefusesAWrongFormatBeforeItOpensAnything) {
    const std::string hint = " is not a directive of watch (%t, %d, %a, %n, %v, %o or %%)";
    for (const std::string command : {"watch missing 0", "watch nothing 0"}) {
        expect(command + " --format %x", 2, "", "--format: '%x'" + hint);
        expect(command + " --format %v%", 2, "", "--format: the format ends with '%' (write %% for a percent sign)");
    }
    for (const std::string command : {"wait missing.map", "irq missing.map type", "irq missing.map enable"}) {
        for (const std::string directive : {"%a", "%n", "%o", "%x"}) {
            expect(command + " --format " + directive, 2, "",
                   "--format: '" + directive + "' is not a directive of " + words(command).front() +
                       " (%t, %d, %v or %%)");
        }
    }
}

TEST_F(Watch, RefusesTwoFormats) {
    for (const std::string line :
         {"watch missing 0 --format %v", "wait missing.map --format %v", "irq missing.map type --format %v"}) {
        expect(line + " --json", 2, "", "--format excludes --json");
        expect(line + " --quiet", 2, "", "--format excludes --quiet");
    }
    expect("watch missing 0 --csv --quiet", 2, "", "--csv excludes --quiet");
    expect("watch missing 0 --csv --json", 2, "", "--csv excludes --json");
    expect("watch missing 0 --plot --json", 2, "", "--plot excludes --json");
    expect("watch missing 0 --format %v --csv", 2, "", "--format excludes --csv");
    expect("watch missing 0 --format %v --plot", 2, "", "--format excludes --plot");
    expect("watch missing 0 --csv --plot", 2, "", "--csv excludes --plot");
}

TEST_F(Watch, RefusesAnUnknownChoiceOfColors) {
    expect("list --color red", 2, "", "--color: 'red' is not a choice of colors (auto, always or never)");
}

TEST_F(Watch, PrintsNoControlSequenceToAPipe) {
    for (const std::string option : {"", " --plot", " --color always", " --plot --color always"}) {
        const std::string line = "watch map32 0 4 --count 3 --interval 1ms" + option;
        expectEnding(runWithVariable("TERM=xterm", RYNVELCTL_FOR_TESTS, arguments(line), m_folder.path()), 0,
                     "TIME map32 0x00000000 = 0x00000000\nTIME map32 0x00000004 = 0x00000000\n", "", line);
    }
}

TEST_F(Watch, RefusesANamedRegisterWhoseReadHasASideEffect) {
    const std::string problem = "map32: reading register FIFO has a side effect (--with-side-effects reads it)";
    for (const std::string address : {"FIFO", "FIFO.LEVEL", "FIFO[1:0]", "0 FIFO"}) {
        expectRefused("watch map32 --count 1 " + address, problem);
    }
    expect("watch map32 FIFO FIFO.LEVEL --count 1 --with-side-effects --quiet", 0, "FIFO 0x00000000\nFIFO.LEVEL 0\n");
    expect("watch map32 0xC --count 1 --quiet", 0, "0x0000000c 0x00000000\n");
}

TEST_F(Watch, PrintsNoControlCharacterOfAName) {
    const std::string line = "watch map32 CTL\u009b31m\u202eA --count 1 ";
    expect(line, 0, "TIME map32 CTL?31m?A = 0x00000000\n");
    expect(line + "--csv", 0, "time,device,address,name,value,old\nTIME,map32,0x00000014,CTL?31m?A,0x00000000,\n");
    expect(line + "--format %n", 0, "CTL?31m?A\n");
    expect(line + "--json", 0,
           "{\"name\":\"map32\",\"address\":20,\"register\":\"CTL\\u009b31m\\u202eA\",\"value\":0,\"fields\":[],"
           "\"time\":\"TIME\"}\n");
}

class WatchOnATerminal : public Watch {
protected:
    TerminalProcess startOn(const std::string& line, Arguments environment = {"TERM=xterm"}, std::size_t columns = 80,
                            std::size_t rows = 24) const {
        return {commandOf(RYNVELCTL_FOR_TESTS, arguments(line)),
                {m_folder.path(), std::move(environment), columns, rows}};
    }

    /** Returns the screen without the times and rates. */
    static std::string textOf(const TerminalScreen& screen) {
        return std::regex_replace(screen.text(), std::regex("[0-9]+:[0-9]{2}:[0-9]{2}(  [0-9.]+ samples/s)?"), "TIME");
    }

    static auto shows(const std::string& text) {
        return [text](const TerminalScreen& screen) { return textOf(screen) == text; };
    }

    static void expectSameModes(const termios& modes, const termios& expected) {
        EXPECT_EQ(modes.c_lflag, expected.c_lflag);
        EXPECT_EQ(modes.c_iflag, expected.c_iflag);
        EXPECT_EQ(modes.c_oflag, expected.c_oflag);
    }

    /** Removes the line in which an emulator reports a signal that dumps core. */
    static std::string withoutMessageOfEmulator(std::string screen) {
        const std::size_t message = screen.find("qemu: uncaught target signal");
        if (message != std::string::npos && !std::string(RYNVEL_EMULATOR).empty()) {
            screen.erase(message, screen.find('\n', message) + 1 - message);
        }
        return screen;
    }

    /** Expects that the cursor is visible below the table, and that the terminal shows typed characters. */
    static void expectRestored(const TerminalProcess& program, const std::string& screen) {
        EXPECT_TRUE(program.screen().isCursorVisible());
        EXPECT_EQ(withoutMessageOfEmulator(textOf(program.screen())), screen);
        EXPECT_EQ(program.screen().cursorColumn(), 0U);
        EXPECT_NE(program.modes().c_lflag & ECHO, 0U);
    }

    /** Expects the program to print these lines on a terminal, without control sequences. */
    void expectLines(const std::string& line, const Arguments& environment, const std::string& output) const {
        TerminalProcess program = startOn(line, environment);
        EXPECT_EQ(program.wait(), 0);
        EXPECT_EQ(withoutTimes(program.bytes()), output) << line;
    }

    /** Expects a change to be highlighted or not. */
    void expectHighlight(bool isHighlighted, const std::string& options, const Arguments& environment) {
        m_registers.poke(0, 0);
        TerminalProcess program = startOn("watch map32 0 --interval 1ms " + options, environment);
        program.awaitDrawing(shows(m_unchanged));
        m_registers.poke(0, 1);
        program.awaitDrawing(shows(isHighlighted ? m_highlighted : m_changed));
        program.type("\x03");
        EXPECT_EQ(program.wait(), -SIGINT);
        EXPECT_EQ(program.bytes().find("\x1b[1;35m") != std::string::npos, isHighlighted);
    }

    const std::string m_unchanged = "map32  TIME\nREGISTER    VALUE       OLD\n0x00000000  0x00000000\n";
    const std::string m_changed = "map32  TIME\nREGISTER    VALUE       OLD\n0x00000000  0x00000001  0x00000000\n";
    const std::string m_highlighted =
        "map32  TIME\nREGISTER    VALUE       OLD\n0x00000000  <0x00000001>  0x00000000\n";
};

TEST_F(WatchOnATerminal, ShowsATableInPlace) {
    TerminalProcess program = startOn("watch map32 CTRL CTRL.RUN 4 --interval 1ms");
    program.awaitDrawing(shows("map32  TIME\nREGISTER    VALUE        OLD\nCTRL        0x00000000\n"
                               "CTRL.RUN    0 (stopped)\n0x00000004  0x00000000\n"));
    EXPECT_FALSE(program.screen().isCursorVisible());
    m_registers.poke(0, 1);
    const std::string changed = "map32  TIME\nREGISTER    VALUE        OLD\nCTRL        <0x00000001>   0x00000000\n"
                                "CTRL.RUN    <1 (running)>  0 (stopped)\n0x00000004  0x00000000\n";
    program.awaitDrawing(shows(changed));
    program.awaitDrawing(shows(std::regex_replace(changed, std::regex("[<>]"), "")));
    EXPECT_EQ(program.screen().cursorRow(), 5U);
}

TEST_F(WatchOnATerminal, ShowsValuesInTheGivenBase) {
    m_registers.poke(0, 1);
    TerminalProcess program = startOn("watch map32 0 CTRL.RUN --base 10 --interval 1ms");
    program.awaitDrawing(shows("map32  TIME\nREGISTER    VALUE        OLD\n0x00000000  1\nCTRL.RUN    1 (running)\n"));
    m_registers.poke(0, 256);
    program.awaitDrawing(shows("map32  TIME\nREGISTER    VALUE        OLD\n0x00000000  <256>          1\n"
                               "CTRL.RUN    <0 (stopped)>  1 (running)\n"));
}

TEST_F(WatchOnATerminal, ShowsTheTableBetweenOtherLines) {
    m_folder.store("script", "read map32 0\nwatch map32 0 --count 2 --interval 1ms\nread map32 4\n");
    const std::string whole = "map32 0x00000000 = 0x00000000\n" + m_unchanged + "map32 0x00000004 = 0x00000000\n";
    // A terminal of 4 rows scrolls.
    for (const auto& [rows, text] : {std::pair(24, whole), std::pair(4, whole.substr(whole.find("REGISTER")))}) {
        TerminalProcess program = startOn("run script", {"TERM=xterm"}, 40, static_cast<std::size_t>(rows));
        EXPECT_EQ(program.wait(), 0);
        EXPECT_EQ(textOf(program.screen()), text);
    }
}

TEST_F(WatchOnATerminal, FollowsTheSizeOfTheTerminal) {
    TerminalProcess program = startOn("watch map32 0 4 8 --interval 1m", {"TERM=xterm"}, 17, 6);
    program.awaitDrawing(shows("map32  TIME\nREGISTER    VALUE\n0x00000000  0x000\n0x00000004  0x000\n"
                               "0x00000008  0x000\n"));
    program.resize(30, 5);
    program.awaitDrawing(shows("map32  TIME\nREGISTER    VALUE       OLD\n0x00000000  0x00000000\n(2 more)\n"));
    program.resize(10, 2);
    program.awaitDrawing(shows("(5 more)\n"));
    program.resize(10, 1);
    program.awaitDrawing(shows(""));
    program.resize(80, 24);
    program.awaitDrawing(shows(m_unchanged + "0x00000004  0x00000000\n0x00000008  0x00000000\n"));
    program.signal(SIGTERM);
    EXPECT_EQ(program.wait(), -SIGTERM);
}

TEST_F(WatchOnATerminal, HasOneColumnForEachCharacter) {
    TerminalProcess program = startOn(
        "watch map32 \u6e29\u5ea6\u30bb\u30f3\u30b5\u30fc 4 CTL\u009b31m\u202eA --interval 1ms", {"TERM=xterm"}, 30);
    program.awaitDrawing(shows("map32  TIME\nREGISTER    VALUE       OLD\n??????      0x00000000\n"
                               "0x00000004  0x00000000\nCTL?31m?A   0x00000000\n"));
}

TEST_F(WatchOnATerminal, RestoresTheTerminalWhenASignalEndsIt) {
    for (const int signal : {SIGINT, SIGTERM, SIGQUIT, SIGHUP, SIGABRT, SIGALRM, SIGIO, SIGPROF, SIGPWR, SIGSYS,
                             SIGUSR1, SIGUSR2, SIGVTALRM, SIGXCPU}) {
        TerminalProcess program = startOn("watch map32 0 --interval 1m");
        program.awaitDrawing(shows(m_unchanged));
        EXPECT_EQ(program.modes().c_lflag & ECHO, 0U);
        program.signal(signal);
        EXPECT_EQ(program.wait(), -signal);
        expectRestored(program, m_unchanged);
    }
}

TEST_F(WatchOnATerminal, EndsOnAStoppedTerminal) {
    TerminalProcess program = startOn("watch map32 0 --interval 1ms");
    program.awaitDrawing(shows(m_unchanged));
    program.type("\x13");
    program.signal(SIGTERM);
    EXPECT_EQ(program.wait(), -SIGTERM);
    EXPECT_NE(program.modes().c_lflag & ECHO, 0U);
}

TEST_F(WatchOnATerminal, RestoresTheTerminalAtCtrlC) {
    TerminalProcess program = startOn("watch map32 0 --interval 1m");
    program.awaitDrawing(shows(m_unchanged));
    program.type("\n\nx\x03");
    EXPECT_EQ(program.wait(), -SIGINT);
    expectRestored(program, m_unchanged);
}

TEST_F(WatchOnATerminal, LeavesTheModesOfTheTerminalAsTheyWere) {
    TerminalProcess unstarted = startOn("watch nothing 0");
    EXPECT_EQ(unstarted.wait(), 2);
    TerminalProcess program = startOn("watch map32 0 --count 1");
    EXPECT_EQ(program.wait(), 0);
    expectSameModes(program.modes(), unstarted.modes());
}

TEST_F(WatchOnATerminal, RestoresTheTerminalWhenTheTimeOutHasExpired) {
    TerminalProcess program = startOn("watch map32 0 --interval 1m --timeout 500ms");
    EXPECT_EQ(program.wait(), 4);
    const std::string error = "rynvelctl: map32: timed out after 500 ms";
    EXPECT_EQ(textOf(program.screen()), m_unchanged + error + '\n');
    EXPECT_TRUE(program.screen().isCursorVisible());
}

TEST_F(WatchOnATerminal, RestoresTheTerminalAfterAFailure) {
    TerminalProcess program = startOn("watch map32 0 --interval 1ms");
    program.awaitDrawing(shows(m_unchanged));
    std::filesystem::resize_file(m_folder.path() + "/map", 0);
    EXPECT_EQ(program.wait(), 1);
    const std::string error = "rynvelctl: map32: reading 0x00000000 caused a bus error";
    EXPECT_EQ(textOf(program.screen()), m_unchanged + error + '\n');
    EXPECT_TRUE(program.screen().isCursorVisible());
    EXPECT_NE(program.modes().c_lflag & ECHO, 0U);
}

TEST_F(WatchOnATerminal, LeavesTheTableOfTheLastSample) {
    TerminalProcess program = startOn("watch map32 0 --count 20 --interval 1ms");
    EXPECT_EQ(program.wait(), 0);
    expectRestored(program, m_unchanged);
}

TEST_F(WatchOnATerminal, RestoresTheTerminalWhileItIsStopped) {
    TerminalProcess program = startOn("watch map32 0 --interval 1m");
    program.awaitDrawing(shows(m_unchanged));
    program.type("\x1a");
    program.awaitStop();
    expectRestored(program, m_unchanged);
    program.signal(SIGCONT);
    program.awaitDrawing(shows(m_unchanged + m_unchanged));
    EXPECT_FALSE(program.screen().isCursorVisible());
    EXPECT_EQ(program.modes().c_lflag & ECHO, 0U);
    program.signal(SIGTERM);
    EXPECT_EQ(program.wait(), -SIGTERM);
    expectRestored(program, m_unchanged + m_unchanged);
}

TEST_F(WatchOnATerminal, StopsWhileAServerIsSilent) {
    TestPeer server;
    server.script({success(), success({0}), silence()});
    TerminalProcess program = startOn("--remote " + server.address() + " watch map32 0 --interval 1ms --timeout 1h");
    program.awaitDrawing(shows(m_unchanged));
    server.requests(3);
    program.type("\x1a");
    program.awaitStop();
    expectRestored(program, m_unchanged);
}

TEST_F(WatchOnATerminal, EndsInTheBackground) {
    TerminalProcess program = startOn("watch map32 0 --interval 1m");
    program.awaitDrawing(shows(m_unchanged));
    program.signal(SIGSTOP);
    program.awaitStop();
    program.moveToBackground();
    program.signal(SIGCONT);
    program.signal(SIGTERM);
    EXPECT_EQ(program.wait(), -SIGTERM);
    EXPECT_TRUE(program.screen().isCursorVisible());
    // A program in the background does not restore the modes, because the shell sets its own modes.
    EXPECT_EQ(program.modes().c_lflag & ECHO, 0U);
}

TEST_F(WatchOnATerminal, DrawsNothingInTheBackground) {
    std::atomic<std::uint32_t> value = 0;
    TestPeer server([&value](std::size_t, const Rynvel::Request&) { return success({value}); });
    TerminalProcess program = startOn("--remote " + server.address() + " watch map32 0 --interval 1ms");
    program.awaitDrawing(shows(m_unchanged));
    program.type("\x1a");
    program.awaitStop();
    program.moveToBackground();
    program.signal(SIGCONT);
    value = 1;
    server.clearRequests();
    // Taking these samples takes longer than the shortest time between two drawings.
    server.requests(100);
    EXPECT_NE(program.modes().c_lflag & ECHO, 0U);
    program.moveToForeground();
    program.awaitDrawing(shows(m_unchanged + m_changed));
    EXPECT_FALSE(program.screen().isCursorVisible());
    EXPECT_EQ(program.modes().c_lflag & ECHO, 0U);
}

TEST_F(WatchOnATerminal, ReturnsTheCursorToTheShellInTheBackground) {
    TerminalProcess program = startOn("watch map32 0 --interval 1m");
    program.awaitDrawing(shows(m_unchanged));
    program.signal(SIGSTOP);
    program.awaitStop();
    program.moveToBackground();
    program.signal(SIGCONT);
    program.await([](const TerminalScreen& screen) { return screen.isCursorVisible(); });
    // The program detects the change to the foreground without a signal, long before the next sample.
    program.moveToForeground();
    program.awaitDrawing(shows(m_unchanged + m_unchanged));
    EXPECT_FALSE(program.screen().isCursorVisible());
    program.signal(SIGTERM);
    EXPECT_EQ(program.wait(), -SIGTERM);
    expectRestored(program, m_unchanged + m_unchanged);
}

TEST_F(WatchOnATerminal, HasColorsAsTheUserChooses) {
    expectHighlight(true, "", {"TERM=xterm"});
    expectHighlight(true, "", {"TERM=xterm", "NO_COLOR="});
    expectHighlight(false, "", {"TERM=xterm", "NO_COLOR=1"});
    expectHighlight(true, "--color always", {"TERM=xterm", "NO_COLOR=1"});
    expectHighlight(true, "--color auto", {"TERM=xterm"});
    expectHighlight(false, "--color never", {"TERM=xterm"});
}

TEST_F(WatchOnATerminal, PrintsLinesIfTheTerminalCannotMoveItsCursor) {
    const std::string line = "watch map32 0 --count 3 --interval 1ms --color always --plot";
    for (const Arguments& environment : {Arguments{"TERM=dumb"}, Arguments{"TERM="}, Arguments{}}) {
        expectLines(line, environment, "TIME map32 0x00000000 = 0x00000000\r\n");
    }
}

TEST_F(WatchOnATerminal, PrintsLinesAmongTracesOnTheTerminal) {
    const std::string line = "watch map32 0 --count 3 --interval 1ms --trace *=0";
    expectLines(line, {"TERM=xterm"}, "TIME map32 0x00000000 = 0x00000000\r\n");
    Arguments command = commandOf(RYNVELCTL_FOR_TESTS, arguments(line));
    command.insert(command.begin(), {"/bin/sh", "-c", "exec \"$@\" 2>traces", "sh"});
    TerminalProcess program(command, {m_folder.path(), {"TERM=xterm"}});
    EXPECT_EQ(program.wait(), 0);
    expectRestored(program, m_unchanged);
}

TEST_F(WatchOnATerminal, PrintsLinesInAnotherFormat) {
    const std::string line = "watch map32 0 --count 3 --interval 1ms ";
    expectLines(line + "--quiet", {"TERM=xterm"}, "0x00000000 0x00000000\r\n");
    expectLines(line + "--json", {"TERM=xterm"},
                "{\"name\":\"map32\",\"address\":0,\"value\":0,\"time\":\"TIME\"}\r\n");
    expectLines(line + "--format %v", {"TERM=xterm"}, "0x00000000\r\n");
    expectLines(line + "--csv", {"TERM=xterm"},
                "time,device,address,name,value,old\r\nTIME,map32,0x00000000,0x00000000,0x00000000,\r\n");
}

TEST_F(WatchOnATerminal, PlotsTheLastValues) {
    const std::string line = "watch map32 0 --count 3 --interval 1ms --plot";
    const std::vector<std::pair<Arguments, std::string>> plots{{{"TERM=xterm"}, "___"},
                                                               {{"TERM=xterm", "LANG=en_US.UTF-8"}, "▁▁▁"},
                                                               {{"TERM=xterm", "LC_CTYPE=C.utf8"}, "▁▁▁"},
                                                               {{"TERM=xterm", "LC_ALL=C", "LANG=en_US.UTF-8"}, "___"}};
    for (const auto& [environment, plot] : plots) {
        TerminalProcess program = startOn(line, environment);
        EXPECT_EQ(program.wait(), 0);
        expectRestored(program, "map32  TIME\nREGISTER    VALUE       OLD  LAST VALUES\n0x00000000  0x00000000       " +
                                    plot + '\n');
    }
}

TEST_F(WatchOnATerminal, WritesNoControlSequencesToAFile) {
    Arguments command = commandOf(RYNVELCTL_FOR_TESTS, arguments("watch map32 0 --count 3 --interval 1ms --plot"));
    command.insert(command.begin(), {"/bin/sh", "-c", "exec \"$@\" --color always >lines", "sh"});
    TerminalProcess program(command, {m_folder.path(), {"TERM=xterm"}});
    EXPECT_EQ(program.wait(), 0);
    EXPECT_EQ(withoutTimes(m_folder.load("lines")), "TIME map32 0x00000000 = 0x00000000\n");
    EXPECT_EQ(program.bytes(), "");
}

} // namespace
} // namespace RynvelTest
