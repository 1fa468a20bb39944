// SPDX-License-Identifier: MIT
#include "LineParser.h"

#include <algorithm>
#include <vector>

#include "CommandLine.h"
#include "Failure.h"
#include "LineReader.h"
#include "Words.h"

namespace Rynvelctl {

namespace {

std::vector<const char*> argumentsOf(const std::vector<std::string>& words) {
    std::vector<const char*> arguments{"rynvelctl"};
    for (const std::string& word : words) {
        arguments.push_back(word.c_str());
    }
    return arguments;
}

/**
 * Checks that wordsOf() returns the same words that an editor shows for the line.
 *
 * @throws Failure for a NUL byte, for a carriage return before the end, and for a line that is too long.
 */
void requireTextLine(const std::string& line) {
    if (line.size() > longestLine) {
        throw usageError("the line has more than " + std::to_string(longestLine) + " bytes");
    }
    if (line.find('\0') != std::string::npos) {
        throw usageError("the line contains a NUL byte (give a text file in UTF-8)");
    }
    const std::size_t end = line.find_last_not_of('\r');
    if (end != std::string::npos && line.find('\r') < end) {
        throw usageError("the line contains a carriage return (end each line with a line feed)");
    }
}

/** Returns the global option that a word begins with; empty if there is none. */
std::string globalOptionIn(const std::string& word) {
    std::string name = word.substr(0, word.find('='));
    for (const Common::OptionDescription& option : CommandLine().describe().options) {
        if (std::find(option.names.begin(), option.names.end(), name) != option.names.end()) {
            return name;
        }
    }
    return "";
}

Failure wrongLine(const std::vector<std::string>& words, const std::string& problem) {
    for (const std::string& word : words) {
        const std::string option = word.front() == '-' ? globalOptionIn(word) : "";
        if (!option.empty()) {
            return usageError(option + ": a line cannot contain global options (give the option with run)");
        }
    }
    return usageError(problem);
}

} // namespace

struct LineParser::Commands {
    Commands() : parser("rynvelctl", "", nullptr) {
        addHints(parser);
        addCommands(parser.program(), chosen);
    }

    Action parse(const std::vector<std::string>& words) {
        chosen = nullptr;
        const std::vector<const char*> arguments = argumentsOf(words);
        const Common::ParseResult result = parser.parse(static_cast<int>(arguments.size()), arguments.data());
        if (result.kind != Common::ParseResult::Kind::Parsed) {
            throw wrongLine(words, result.text);
        }
        if (!chosen) {
            throw usageError("the command is missing (a comment begins with #)");
        }
        return chosen;
    }

    Common::ArgumentParser parser;
    Action chosen;
};

LineParser::LineParser() = default;

LineParser::~LineParser() = default;

Action LineParser::parse(const std::string& line) {
    requireTextLine(line);
    const std::vector<std::string> words = wordsOf(line);
    if (words.empty()) {
        return nullptr;
    }
    std::for_each(words.begin(), words.end(), requireUsable);
    if (words.front() == "run") {
        throw usageError("run: a line cannot run a file of commands (give the commands themselves)");
    }
    if (words.front() == "rynvelctl") {
        throw usageError("rynvelctl: a line begins with a command (leave out the name of the program)");
    }
    auto commands = m_commands == nullptr ? std::make_unique<Commands>() : std::move(m_commands);
    Action action = commands->parse(words);
    m_commands = std::move(commands);
    return action;
}

} // namespace Rynvelctl
