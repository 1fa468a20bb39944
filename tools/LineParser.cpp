// SPDX-License-Identifier: MIT
#include "LineParser.h"

#include <algorithm>
#include <vector>

#include "Failure.h"
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

} // namespace

struct LineParser::Commands {
    Commands() : parser("rynvelctl", "", nullptr) { addCommands(parser.program(), chosen); }

    Action parse(const std::vector<std::string>& words) {
        chosen = nullptr;
        const std::vector<const char*> arguments = argumentsOf(words);
        const Common::ParseResult result = parser.parse(static_cast<int>(arguments.size()), arguments.data());
        if (result.kind != Common::ParseResult::Kind::Parsed) {
            throw usageError(result.text);
        }
        return chosen;
    }

    Common::ArgumentParser parser;
    Action chosen;
};

LineParser::LineParser() = default;

LineParser::~LineParser() = default;

Action LineParser::parse(const std::string& line) {
    const std::vector<std::string> words = wordsOf(line);
    if (words.empty()) {
        return nullptr;
    }
    std::for_each(words.begin(), words.end(), requireUsable);
    if (words.front() == "run") {
        throw usageError("run: a line cannot run a file of commands (give the commands themselves)");
    }
    auto commands = m_commands == nullptr ? std::make_unique<Commands>() : std::move(m_commands);
    Action action = commands->parse(words);
    m_commands = std::move(commands);
    return action;
}

} // namespace Rynvelctl
