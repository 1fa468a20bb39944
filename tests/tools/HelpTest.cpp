// SPDX-License-Identifier: MIT
#include <algorithm>
#include <filesystem>
#include <fstream>
#include <sstream>

#include <gtest/gtest.h>

#include "CommandLine.h"
#include "HelpText.h"
#include "Program.h"
#include "ShellLine.h"
#include "TestPeer.h"

namespace RynvelTest {
namespace {

using Common::CommandDescription;

std::vector<std::string> linesOfText(const std::string& text) {
    std::istringstream stream(text);
    std::vector<std::string> lines;
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(line);
    }
    return lines;
}

std::string textOfFile(const std::string& path) {
    std::ostringstream text;
    text << std::ifstream(path).rdbuf();
    return text.str();
}

std::vector<std::string> linesOfFile(const std::string& path) { return linesOfText(textOfFile(path)); }

/** Returns the names of all commands, such as "maps list", with their descriptions. */
std::vector<std::pair<std::string, CommandDescription>> commandsOf(const CommandDescription& program,
                                                                   const std::string& before = "") {
    std::vector<std::pair<std::string, CommandDescription>> all;
    for (const CommandDescription& command : program.commands) {
        all.emplace_back(before + command.name, command);
        for (const auto& inner : commandsOf(command, before + command.name + ' ')) {
            all.push_back(inner);
        }
    }
    return all;
}

std::vector<std::pair<std::string, CommandDescription>> allCommands() {
    return commandsOf(Rynvelctl::CommandLine().describe());
}

std::string helpOf(const std::string& command) {
    const Ending ending = runProgram(RYNVELCTL, words(command + " --help"), ".");
    EXPECT_EQ(ending.status, 0) << command;
    EXPECT_EQ(ending.error, "") << command;
    return ending.output;
}

void expectNarrow(const std::string& help) {
    for (const std::string& line : linesOfText(help)) {
        EXPECT_LE(line.size(), 80U) << line;
    }
}

bool contains(const Arguments& call, const std::string& word) {
    return std::find(call.begin(), call.end(), word) != call.end();
}

/** A folder and a server for the calls of rynvelctl in the documentation. All registers of the server are 1. */
class DocumentedCalls : public testing::Test {
protected:
    DocumentedCalls() {
        std::filesystem::create_directories(m_folder.path() + "/board/maps");
        const std::string map = textOfFile(RYNVEL_MANUAL_PAGES "/../../board/maps/rtc0.svd");
        m_folder.store("rtc0.svd", map);
        m_folder.store("board/maps/rtc0.svd", map);
        m_folder.store("registers.bin", std::string(256, '\1'));
        m_folder.store("saved.bin", std::string(256, '\1'));
        m_folder.store("lines", "read traf.top 0x10\n");
        m_folder.store("start-up.txt", "read traf.top 0x10\n");
        m_folder.store("pulses.txt", "toggle traf.top 0x10 5\nsleep 20ms\n");
        m_folder.store("transfers.txt", "write common.idt 0x10 1\nread common.idt 0x10\n");
        m_folder.store("values.bin", "12345");
        expectTaken("rynvelctl save rtc0 before.json");
        m_folder.store("after.json", m_folder.load("before.json"));
    }

    /**
     * Expects the program to accept its calls in a shell line, and returns the number of calls. The calls use the
     * server, so the program also evaluates the values of their options and arguments.
     */
    std::size_t expectTaken(const std::string& line) {
        const std::vector<Arguments> calls = callsIn(line);
        // The result does not depend on the build, so slow builds run only every fourth call.
        const std::size_t step = testsRunSlowly ? 4 : 1;
        for (const Arguments& call : calls) {
            if (m_calls++ % step != 0) {
                continue;
            }
            const Ending ending = run(call);
            if (line == refusedByTheMap) {
                EXPECT_EQ(ending.error, "rynvelctl: rtc0: register RTCDR is read-only\n");
            } else {
                EXPECT_NE(ending.status, 2) << line << '\n' << ending.error;
            }
            EXPECT_GE(ending.status, 0) << line << '\n' << ending.error;
        }
        return calls.size();
    }

private:
    /** An example of a write that the program refuses because of the register map. */
    const std::string refusedByTheMap = "rynvelctl write rtc0 RTCDR 0";

    Ending run(const Arguments& call) const {
        Arguments arguments;
        for (const std::string& word : Arguments(call.begin() + 1, call.end())) {
            // No test may reach the server or the device of an example.
            const bool isServer = word.compare(0, 9, "10.0.0.7:") == 0 || word == "10.0.0.7" || word == "127.0.0.1";
            if (word != "--local") {
                arguments.push_back(isServer ? m_peer.address() : word);
            }
        }
        if (!contains(call, "--type") && !contains(call, "list") && !contains(call, "check")) {
            const bool hasBytes = contains(call, "common.idt") || contains(call, "transfers.txt");
            arguments.insert(arguments.begin(), {"--type", hasBytes ? "Lseek8" : "Uio32"});
        }
        if (!contains(call, "--timeout") && !contains(call, "-t")) {
            const bool mayRunForever = contains(call, "watch") || contains(call, "wait") || contains(call, "poll");
            arguments.insert(arguments.begin(), {"--timeout", mayRunForever ? "100ms" : "10s"});
        }
        const std::string input = contains(call, "run") ? "lines" : "registers.bin";
        const std::string preparation = enter(m_folder.path()) + "export RYNVELCTL_REMOTE=" + m_peer.address() +
                                        " RYNVEL_MAPS=rtc0.svd; exec <" + input + " && ";
        return Process(commandOf(RYNVELCTL_FOR_TESTS, arguments), {preparation, {}}).wait();
    }

    TestFolder m_folder;
    std::size_t m_calls = 0;
    TestPeer m_peer{[](std::size_t /*connection*/, const Rynvel::Request& /*request*/) { return success({1}); }};
};

TEST(Help, FitsATerminal) {
    expectNarrow(helpOf(""));
    for (const auto& [name, command] : allCommands()) {
        expectNarrow(helpOf(name));
    }
    expectNarrow(runProgram(RYNVELD, {"--help"}, ".").output);
}

TEST(Help, DescribesOnlyTheGivenCommand) {
    for (const auto& [name, command] : allCommands()) {
        const std::string help = helpOf(name);
        const std::string usage = "Usage: rynvelctl " + name + " [OPTIONS]";
        EXPECT_NE(help.find(usage), std::string::npos) << help;
        EXPECT_NE(help.find("'rynvelctl --help' lists them.\n"), std::string::npos) << help;
        for (const auto& option : command.options) {
            EXPECT_NE(help.find("  " + option.names.front()), std::string::npos) << help;
        }
        for (const std::string other : {"Time-outs:", "Exit status:", "--trace", "--remote HOST"}) {
            EXPECT_EQ(help.find(other), std::string::npos) << help;
        }
    }
}

TEST(Help, ListsTheCommandsAndTheTopicsOfTheProgram) {
    const std::string help = helpOf("");
    for (const CommandDescription& command : Rynvelctl::CommandLine().describe().commands) {
        EXPECT_NE(help.find("\n  " + command.name + ' '), std::string::npos) << command.name;
    }
    EXPECT_NE(help.find("\nTime-outs:\n"), std::string::npos);
    EXPECT_NE(help.find("\nExit status:\n"), std::string::npos);
    EXPECT_EQ(help.find("\nExamples:\n"), std::string::npos);
}

TEST_F(DocumentedCalls, AreValidInTheHelpOfEachCommand) {
    for (const auto& [name, command] : allCommands()) {
        const std::vector<std::string> examples = linesOfText(Rynvelctl::examplesOf(name));
        EXPECT_FALSE(examples.empty()) << name;
        const std::string help = helpOf(name);
        for (const std::string& example : examples) {
            EXPECT_GE(expectTaken(example), 1U) << example;
            EXPECT_NE((' ' + example + ' ').find(' ' + name + ' '), std::string::npos) << example;
            EXPECT_NE(help.find("\n  " + example + '\n'), std::string::npos) << example;
        }
    }
}

TEST_F(DocumentedCalls, AreValidInTheManualPage) {
    std::size_t calls = 0;
    for (const std::string& line : linesOfFile(RYNVEL_MANUAL_PAGES "/rynvelctl.1")) {
        if (line.compare(0, 4, ".Dl ") == 0) {
            calls += expectTaken(line.substr(4));
        }
    }
    EXPECT_GE(calls, 21U);
}

TEST_F(DocumentedCalls, AreValidInTheComparisonWithOtherTools) {
    std::size_t calls = 0;
    for (const std::string& line : linesOfFile(RYNVEL_MANUAL_PAGES "/../other-tools.md")) {
        for (std::size_t begin = line.find("`rynvelctl "); begin != std::string::npos;) {
            const std::size_t end = line.find('`', begin + 1);
            calls += expectTaken(line.substr(begin + 1, end - begin - 1));
            begin = line.find("`rynvelctl ", end + 1);
        }
    }
    EXPECT_GE(calls, 76U);
}

TEST(ShellLine, HasTheWordsOfEachCall) {
    EXPECT_EQ(callsIn("echo 'read a 0' | rynvelctl run - >file; rynvelctl read a '0[7:4]' <input"),
              (std::vector<Arguments>{{"rynvelctl", "run", "-"}, {"rynvelctl", "read", "a", "0[7:4]"}}));
}

} // namespace
} // namespace RynvelTest
