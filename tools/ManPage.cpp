#include "ManPage.h"

#include <algorithm>
#include <cctype>

#include "HelpText.h"

namespace Rynvelctl {

namespace {

using Common::CommandDescription;
using Common::OptionDescription;

/** A text that means nothing but itself. */
std::string escaped(const std::string& text) {
    std::string result;
    for (const char character : text) {
        result += character == '\\' ? "\\e" : character == '-' ? "\\-" : std::string(1, character);
    }
    return result;
}

std::string upperCase(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char character) { return static_cast<char>(std::toupper(character)); });
    return text;
}

std::string bold(const std::string& text) { return "\\fB" + escaped(text) + "\\fR"; }

std::string italic(const std::string& text) { return "\\fI" + escaped(text) + "\\fR"; }

std::string section(const std::string& title) { return ".SH " + upperCase(title) + '\n'; }

std::string valueOf(const OptionDescription& option) {
    return option.valueName.empty() ? "" : ' ' + italic(option.valueName);
}

std::string namesOf(const OptionDescription& option) {
    if (option.isPositional) {
        return italic(option.names.front());
    }
    std::string names;
    for (const std::string& name : option.names) {
        names += (names.empty() ? "" : ", ") + bold(name);
    }
    return names + valueOf(option);
}

std::string entry(const OptionDescription& option) {
    return ".TP\n" + namesOf(option) + '\n' + escaped(option.summary) + ".\n";
}

std::string argumentInSynopsis(const OptionDescription& argument) {
    const std::string dots = argument.takesSeveral ? "..." : "";
    const std::string name = namesOf(argument) + dots;
    return argument.isRequired ? ' ' + name : " [" + name + ']';
}

std::string synopsis(const CommandDescription& command) {
    std::string text = bold(command.name);
    for (const OptionDescription& option : command.options) {
        if (option.isPositional) {
            text += argumentInSynopsis(option);
        }
    }
    return text;
}

std::string entries(const CommandDescription& command) {
    std::string text;
    for (const OptionDescription& option : command.options) {
        text += entry(option);
    }
    return text;
}

std::string description(const CommandDescription& command) {
    return ".SS " + synopsis(command) + '\n' + escaped(command.summary) + ".\n" + entries(command);
}

std::string generalOptions(const CommandDescription& program) {
    return section("Options") + "They may stand anywhere.\n" + entries(program);
}

std::string commands(const CommandDescription& program) {
    std::string text = section("Commands");
    for (const CommandDescription& command : program.commands) {
        text += description(command);
    }
    return text;
}

std::string prose() {
    std::string text;
    for (const HelpSection& help : helpSections) {
        text += section(help.title);
        for (const std::string& paragraph : help.paragraphs) {
            text += ".PP\n" + escaped(paragraph) + '\n';
        }
    }
    return text;
}

} // namespace

std::string manPage(const CommandDescription& program) {
    const std::string& name = program.name;
    return ".\\\" Made by rynvelctl_manual.\n.TH " + upperCase(name) + " 1 \"\" librynvel\n" + section("Name") +
           escaped(name) + " \\- " + escaped(program.summary) + '\n' + section("Synopsis") + bold(name) + " [" +
           italic("OPTION") + "]... " + italic("COMMAND") + " [" + italic("ARGUMENT") + "]...\n" +
           generalOptions(program) + commands(program) + prose();
}

} // namespace Rynvelctl
