// SPDX-License-Identifier: MIT
#include "Completion.h"

#include <algorithm>
#include <sstream>

#include "DeviceList.h"
#include "Target.h"

namespace Rynvelctl {

namespace {

using Common::CommandDescription;
using Common::OptionDescription;
using Words = std::vector<std::string>;

constexpr char choiceSeparator = '|';

bool startsWith(const std::string& text, const std::string& start) { return text.compare(0, start.size(), start) == 0; }

bool isOption(const std::string& word) { return word.size() > 1 && word[0] == '-'; }

Words deviceNames() {
    Words names;
    for (const Rynvel::MemoryDevice& row : Common::devices()) {
        names.push_back(row.m_name);
    }
    return names;
}

/** Returns the possible values of an option or argument whose value has this name in the help. */
Words valuesFor(const std::string& name) {
    if (name == "NAME") {
        return deviceNames();
    }
    if (name == "TYPE") {
        return serverDeviceTypeNames();
    }
    Words choices;
    if (name.find(choiceSeparator) != std::string::npos) {
        std::istringstream stream(name);
        for (std::string choice; std::getline(stream, choice, choiceSeparator);) {
            choices.push_back(choice);
        }
    }
    return choices;
}

Words longNames(const CommandDescription& command) {
    Words names;
    for (const OptionDescription& option : command.options) {
        std::copy_if(option.names.begin(), option.names.end(), std::back_inserter(names),
                     [](const std::string& name) { return startsWith(name, "--"); });
    }
    return names;
}

const CommandDescription* findCommand(const CommandDescription& program, const std::string& name) {
    const auto command = std::find_if(program.commands.begin(), program.commands.end(),
                                      [&](const CommandDescription& candidate) { return candidate.name == name; });
    return command == program.commands.end() ? nullptr : &*command;
}

/** A position on the command line, which determines the possible words. */
class Position {
public:
    explicit Position(const CommandDescription& program) : m_program(program) {}

    void advance(const std::string& word) {
        if (m_pendingOption != nullptr) {
            m_pendingOption = nullptr;
        } else if (isOption(word)) {
            const OptionDescription* const option = findOption(word);
            m_pendingOption = option == nullptr || option->valueName.empty() ? nullptr : option;
        } else if (m_command != nullptr) {
            ++m_arguments;
        } else {
            m_command = findCommand(m_program, word);
            m_isUnknownCommand = m_command == nullptr;
        }
    }

    /**
     * Returns the words that are possible at this position. A single word may hold an option and the value of this
     * option.
     */
    Words candidates(const std::string& word) const {
        const std::size_t equalsSign = word.find('=');
        if (m_isUnknownCommand) {
            return {};
        }
        if (m_pendingOption != nullptr) {
            return valuesFor(m_pendingOption->valueName);
        }
        if (isOption(word) && equalsSign != std::string::npos) {
            return assignments(word.substr(0, equalsSign));
        }
        if (!word.empty() && word[0] == '-') {
            return optionNames();
        }
        return m_command == nullptr ? commandNames() : argumentValues();
    }

private:
    const OptionDescription* findOption(const std::string& name) const {
        for (const CommandDescription* const command : {m_command, &m_program}) {
            if (command == nullptr) {
                continue;
            }
            for (const OptionDescription& option : command->options) {
                if (std::find(option.names.begin(), option.names.end(), name) != option.names.end()) {
                    return &option;
                }
            }
        }
        return nullptr;
    }

    Words assignments(const std::string& name) const {
        const OptionDescription* const option = findOption(name);
        Words words = option == nullptr ? Words() : valuesFor(option->valueName);
        for (std::string& value : words) {
            value.insert(0, name + '=');
        }
        return words;
    }

    Words optionNames() const {
        Words names = longNames(m_program);
        if (m_command != nullptr) {
            const Words commandOptions = longNames(*m_command);
            names.insert(names.end(), commandOptions.begin(), commandOptions.end());
        }
        return names;
    }

    Words commandNames() const {
        Words names;
        for (const CommandDescription& command : m_program.commands) {
            names.push_back(command.name);
        }
        return names;
    }

    Words argumentValues() const {
        std::size_t index = 0;
        for (const OptionDescription& argument : m_command->options) {
            if (argument.isPositional && (index++ == m_arguments || argument.takesMultipleValues)) {
                return valuesFor(argument.names.front());
            }
        }
        return {};
    }

    const CommandDescription& m_program;
    const CommandDescription* m_command = nullptr;
    /** The option whose value is the next word; null if there is none. */
    const OptionDescription* m_pendingOption = nullptr;
    std::size_t m_arguments = 0;
    bool m_isUnknownCommand = false;
};

} // namespace

std::vector<std::string> completions(const CommandDescription& program, const std::vector<std::string>& words) {
    if (words.empty()) {
        return {};
    }
    Position position(program);
    std::for_each(words.begin(), words.end() - 1, [&](const std::string& word) { position.advance(word); });
    Words candidates = position.candidates(words.back());
    const auto others = std::remove_if(candidates.begin(), candidates.end(),
                                       [&](const std::string& word) { return !startsWith(word, words.back()); });
    candidates.erase(others, candidates.end());
    return candidates;
}

std::string oneOf(const std::vector<std::string>& words) {
    std::string text;
    for (const std::string& word : words) {
        text += (text.empty() ? "" : std::string(1, choiceSeparator)) + word;
    }
    return text;
}

} // namespace Rynvelctl
