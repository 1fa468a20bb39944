// SPDX-License-Identifier: MIT
#include <fstream>
#include <sstream>

#include <gtest/gtest.h>

#include "CommandLine.h"
#include "Failure.h"
#include "HelpText.h"
#include "Program.h"
#include "ShellLine.h"

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

std::vector<std::string> linesOfFile(const std::string& path) {
    std::ostringstream text;
    text << std::ifstream(path).rdbuf();
    return linesOfText(text.str());
}

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

/** Expects the program to take the calls of itself in a line of a shell, and returns their number. */
std::size_t expectTaken(const std::string& line) {
    const std::vector<Arguments> calls = callsIn(line);
    for (const Arguments& call : calls) {
        std::vector<const char*> pointers;
        for (const std::string& word : call) {
            pointers.push_back(word.c_str());
        }
        try {
            Rynvelctl::CommandLine().parse(static_cast<int>(pointers.size()), pointers.data());
        } catch (const Rynvelctl::Failure& failure) {
            ADD_FAILURE() << line << '\n' << failure.what();
        }
    }
    return calls.size();
}

TEST(Help, FitsATerminal) {
    expectNarrow(helpOf(""));
    for (const auto& [name, command] : allCommands()) {
        expectNarrow(helpOf(name));
    }
    expectNarrow(runProgram(RYNVELD, {"--help"}, ".").output);
}

TEST(Help, OfACommandIsAboutThisCommand) {
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

TEST(Help, OfTheProgramHasTheCommandsAndTheTopics) {
    const std::string help = helpOf("");
    for (const CommandDescription& command : Rynvelctl::CommandLine().describe().commands) {
        EXPECT_NE(help.find("\n  " + command.name + ' '), std::string::npos) << command.name;
    }
    EXPECT_NE(help.find("\nTime-outs:\n"), std::string::npos);
    EXPECT_NE(help.find("\nExit status:\n"), std::string::npos);
    EXPECT_EQ(help.find("\nExamples:\n"), std::string::npos);
}

TEST(Help, HasExamplesOfEachCommandThatTheProgramTakes) {
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

TEST(Help, ExamplesOfTheManualPageAreTakenByTheProgram) {
    std::size_t calls = 0;
    for (const std::string& line : linesOfFile(RYNVEL_MANUAL_PAGES "/rynvelctl.1")) {
        if (line.compare(0, 4, ".Dl ") == 0) {
            calls += expectTaken(line.substr(4));
        }
    }
    EXPECT_GE(calls, 15U);
}

TEST(Help, ComparisonWithOtherToolsNamesCommandsThatTheProgramTakes) {
    std::size_t calls = 0;
    for (const std::string& line : linesOfFile(RYNVEL_MANUAL_PAGES "/../other-tools.md")) {
        for (std::size_t begin = line.find("`rynvelctl "); begin != std::string::npos;) {
            const std::size_t end = line.find('`', begin + 1);
            calls += expectTaken(line.substr(begin + 1, end - begin - 1));
            begin = line.find("`rynvelctl ", end + 1);
        }
    }
    EXPECT_GE(calls, 50U);
}

TEST(ShellLine, HasTheWordsOfEachCall) {
    EXPECT_EQ(callsIn("echo 'read a 0' | rynvelctl run - >file; rynvelctl read a '0[7:4]' <input"),
              (std::vector<Arguments>{{"rynvelctl", "run", "-"}, {"rynvelctl", "read", "a", "0[7:4]"}}));
}

} // namespace
} // namespace RynvelTest
