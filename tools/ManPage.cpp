#include "ManPage.h"

#include <algorithm>
#include <cctype>

#include "HelpText.h"

namespace Rynvelctl {

namespace {

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

bool isArgument(const CLI::Option* option) { return option->get_positional(); }

std::string valueOf(const CLI::Option& option) {
    const std::string type = option.get_type_size() == 0 ? "" : option.get_type_name();
    return type.empty() ? "" : ' ' + italic(type);
}

std::string namesOf(const CLI::Option& option) {
    if (isArgument(&option)) {
        return italic(option.get_name(true));
    }
    std::string names;
    for (const std::string& name : option.get_snames()) {
        names += bold("-" + name) + ", ";
    }
    return names + bold("--" + option.get_lnames().front()) + valueOf(option);
}

std::string entry(const CLI::Option& option) {
    return ".TP\n" + namesOf(option) + '\n' + escaped(option.get_description()) + ".\n";
}

std::string argumentInSynopsis(const CLI::Option& option) {
    const std::string dots = option.get_items_expected_max() > 1 ? "..." : "";
    const std::string name = italic(option.get_name(true)) + dots;
    return option.get_required() ? ' ' + name : " [" + name + ']';
}

std::string synopsis(const CLI::App& command) {
    std::string text = bold(command.get_name());
    for (const CLI::Option* const option : command.get_options(isArgument)) {
        text += argumentInSynopsis(*option);
    }
    return text;
}

bool isOwn(const CLI::App& command, const CLI::Option& option) { return &option != command.get_help_ptr(); }

std::string description(const CLI::App& command) {
    std::string text = ".SS " + synopsis(command) + '\n' + escaped(command.get_description()) + ".\n";
    for (const CLI::Option* const option : command.get_options()) {
        if (isOwn(command, *option)) {
            text += entry(*option);
        }
    }
    return text;
}

std::string generalOptions(const CLI::App& app) {
    std::string text = section("Options") +
                       "They may stand anywhere, but what a command has of the same name is its own "
                       "behind it.\n";
    for (const CLI::Option* const option : app.get_options()) {
        text += entry(*option);
    }
    return text;
}

std::string commands(const CLI::App& app) {
    std::string text = section("Commands");
    for (const CLI::App* const command : app.get_subcommands({})) {
        text += description(*command);
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

std::string manPage(const CLI::App& app) {
    const std::string& name = app.get_name();
    return ".\\\" Made by rynvelctl_manual.\n.TH " + upperCase(name) + " 1 \"\" librynvel\n" + section("Name") +
           escaped(name) + " \\- " + escaped(app.get_description()) + '\n' + section("Synopsis") + bold(name) + " [" +
           italic("OPTION") + "]... " + italic("COMMAND") + " [" + italic("ARGUMENT") + "]...\n" + generalOptions(app) +
           commands(app) + prose();
}

} // namespace Rynvelctl
