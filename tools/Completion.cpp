// SPDX-License-Identifier: MIT
#include "Completion.h"

#include <algorithm>
#include <array>
#include <exception>
#include <filesystem>
#include <sstream>

#include "DeviceList.h"
#include "MapCompletion.h"
#include "MapSearch.h"
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

/**
 * Returns the files in the folder that the word names. Leaves out hidden files unless the word continues after the
 * folder. A slash follows the name of a folder.
 */
Words files(const std::string& word) {
    namespace fs = std::filesystem;
    const std::size_t slash = word.rfind('/');
    const std::string folder = slash == std::string::npos ? "" : word.substr(0, slash + 1);
    std::error_code error;
    Words names;
    for (fs::directory_iterator entry(folder.empty() ? "." : folder, error), end; !error && entry != end;
         entry.increment(error)) {
        std::error_code ignored;
        const std::string name = entry->path().filename().string();
        if (name.front() != '.' || word.size() > folder.size()) {
            names.push_back(folder + name + (entry->is_directory(ignored) ? "/" : ""));
        }
    }
    std::sort(names.begin(), names.end());
    return names;
}

/** The use of field values in a command. */
enum class ValueUse { None, Compares, Assigns };

/** The use of a register map in a command. */
struct MapUse {
    const char* command;
    RegisterUse registers;
    /** Whether the command also takes a field in place of a register. */
    bool takesFields;
    ValueUse values;
};

/** The last element is for all other commands. */
constexpr std::array<MapUse, 12> mapUses{{{"write", RegisterUse::Write, true, ValueUse::Assigns},
                                          {"fill", RegisterUse::Write, false, ValueUse::None},
                                          {"load", RegisterUse::Write, false, ValueUse::None},
                                          {"set", RegisterUse::Write, false, ValueUse::None},
                                          {"clear", RegisterUse::Write, false, ValueUse::None},
                                          {"toggle", RegisterUse::Write, false, ValueUse::None},
                                          {"read", RegisterUse::Read, true, ValueUse::None},
                                          {"watch", RegisterUse::Read, true, ValueUse::None},
                                          {"poll", RegisterUse::Read, true, ValueUse::Compares},
                                          {"expect", RegisterUse::Read, true, ValueUse::Compares},
                                          {"describe", RegisterUse::Any, true, ValueUse::None},
                                          {"", RegisterUse::Read, false, ValueUse::None}}};

const MapUse& useOf(const std::string& command) {
    return *std::find_if(mapUses.begin(), mapUses.end() - 1,
                         [&command](const MapUse& use) { return use.command == command; });
}

/** The words that the user has typed so far. */
struct Line {
    std::string command;
    Words arguments;
    /** The values of --map. */
    Words maps;
};

/**
 * Calls a function with the register map of the device on the command line, and returns the result. Returns an empty
 * list if no register map describes the device.
 */
template <typename Function>
Words fromMap(const Line& line, const Function& function) {
    if (line.arguments.empty()) {
        return {};
    }
    // Ignores an error, because the completion scripts of the shells discard error messages.
    try {
        Maps::MapSearch search(line.maps);
        const auto description = search.catalog().find(line.arguments.front());
        return description ? function(MapCompletion(*description->peripheral, useOf(line.command).registers)) : Words();
    } catch (const Maps::UnusableMap&) {
        return {};
    }
}

bool isAssignment(const std::string& word) { return word.find('=') != std::string::npos; }

Words registerNames(const Line& line, const std::string& word) {
    const MapUse& use = useOf(line.command);
    return fromMap(line, [&](const MapCompletion& map) {
        if (use.values == ValueUse::Assigns && isAssignment(word)) {
            return map.assignments(word);
        }
        Words names = map.registers();
        if (use.takesFields) {
            const Words fields = map.fields(word);
            names.insert(names.end(), fields.begin(), fields.end());
        }
        return names;
    });
}

Words registerValues(const Line& line, const std::string& word) {
    const ValueUse use = useOf(line.command).values;
    if (use == ValueUse::None || line.arguments.size() < 2) {
        return {};
    }
    const std::string& address = line.arguments[1];
    return fromMap(line, [&](const MapCompletion& map) {
        if (use == ValueUse::Compares) {
            return map.readValues(address);
        }
        return isAssignment(address) ? map.assignments(word) : map.values(address, word);
    });
}

Words fieldLists(const Line& line, const std::string& word) {
    if (line.arguments.size() < 2) {
        return {};
    }
    return fromMap(line, [&](const MapCompletion& map) { return map.fieldLists(line.arguments[1], word); });
}

/**
 * Returns the possible values for a placeholder in the help, such as DEVICE. Returns any other text itself, such as
 * "host".
 */
Words choicesFor(const std::string& name, const Line& line, const std::string& word) {
    if (name == "NAME" || name == "DEVICE") {
        return deviceNames();
    }
    if (name == "TYPE") {
        return serverDeviceTypeNames();
    }
    if (name == "FILE") {
        return files(word);
    }
    if (name == "ADDRESS" || name == "REGISTER") {
        return registerNames(line, word);
    }
    if (name == "BITS") {
        return fieldLists(line, word);
    }
    return name == "VALUE" ? registerValues(line, word) : Words{name};
}

/** Returns the possible values of an option or argument with this placeholder in the help, such as "host|network". */
Words valuesFor(const std::string& name, const Line& line, const std::string& word) {
    Words values;
    std::istringstream stream(name);
    for (std::string choice; std::getline(stream, choice, choiceSeparator);) {
        const Words choices = choicesFor(choice, line, word);
        if (choice != name || choices != Words{name}) {
            values.insert(values.end(), choices.begin(), choices.end());
        }
    }
    return values;
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
            keepValue(*m_pendingOption, word);
            m_pendingOption = nullptr;
        } else if (isOption(word)) {
            advanceOption(word);
        } else if (m_command != nullptr && m_command->commands.empty()) {
            m_line.arguments.push_back(word);
        } else {
            m_command = findCommand(m_command == nullptr ? m_program : *m_command, word);
            m_isUnknownCommand = m_command == nullptr;
            m_line.command = word;
        }
    }

    /**
     * Returns the words that are possible at this position. A single word may hold an option and the value of this
     * option.
     */
    Words candidates(const std::string& word) const {
        if (m_isUnknownCommand) {
            return {};
        }
        if (m_pendingOption != nullptr) {
            return valuesFor(m_pendingOption->valueName, m_line, word);
        }
        const OptionWord found = findOptionWord(word);
        if (found.value != std::string::npos) {
            return valuesAfter(word.substr(0, found.value), *found.option, word.substr(found.value));
        }
        if (!word.empty() && word[0] == '-') {
            return optionNames();
        }
        const CommandDescription& command = m_command == nullptr ? m_program : *m_command;
        return command.commands.empty() ? argumentValues(command, word) : commandNames(command);
    }

private:
    /** An option in a word, if the option takes a value. */
    struct OptionWord {
        /** Null if the word has no option that takes a value. */
        const OptionDescription* option = nullptr;
        /** The position of the value in the word; npos if the value is the next word. */
        std::size_t value = std::string::npos;
    };

    OptionWord findOptionWord(const std::string& word) const {
        if (!isOption(word)) {
            return {};
        }
        return startsWith(word, "--") ? findLongOption(word) : findShortOption(word);
    }

    OptionWord findLongOption(const std::string& word) const {
        const std::size_t equalsSign = word.find('=');
        const OptionDescription* const option = findOption(word.substr(0, equalsSign));
        if (option == nullptr || option->valueName.empty()) {
            return {};
        }
        return {option, equalsSign == std::string::npos ? equalsSign : equalsSign + 1};
    }

    /** A word such as -qmFILE contains several short options, and the value of the last option. */
    OptionWord findShortOption(const std::string& word) const {
        for (std::size_t i = 1; i < word.size(); ++i) {
            const OptionDescription* const option = findOption({'-', word[i]});
            if (option == nullptr) {
                return {};
            }
            if (!option->valueName.empty()) {
                return {option, i + 1 == word.size() ? std::string::npos : i + 1};
            }
        }
        return {};
    }

    void advanceOption(const std::string& word) {
        const OptionWord found = findOptionWord(word);
        if (found.value == std::string::npos) {
            m_pendingOption = found.option;
        } else {
            keepValue(*found.option, word.substr(found.value));
        }
    }

    void keepValue(const OptionDescription& option, const std::string& value) {
        if (option.names.back() == "--map") {
            m_line.maps.push_back(value);
        }
    }

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

    /** Returns the values of an option. Each result begins with `beginning`, the part of the word before the value. */
    Words valuesAfter(const std::string& beginning, const OptionDescription& option, const std::string& start) const {
        Words words = valuesFor(option.valueName, m_line, start);
        for (std::string& value : words) {
            value.insert(0, beginning);
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

    static Words commandNames(const CommandDescription& program) {
        Words names;
        for (const CommandDescription& command : program.commands) {
            names.push_back(command.name);
        }
        return names;
    }

    Words argumentValues(const CommandDescription& command, const std::string& word) const {
        std::size_t index = 0;
        for (const OptionDescription& argument : command.options) {
            if (argument.isPositional && (index++ == m_line.arguments.size() || argument.takesMultipleValues)) {
                return valuesFor(argument.names.front(), m_line, word);
            }
        }
        return {};
    }

    const CommandDescription& m_program;
    const CommandDescription* m_command = nullptr;
    /** The option whose value is the next word; null if there is none. */
    const OptionDescription* m_pendingOption = nullptr;
    Line m_line;
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
