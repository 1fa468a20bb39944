// SPDX-License-Identifier: MIT
#include <algorithm>
#include <fstream>
#include <set>
#include <sstream>

#include <gtest/gtest.h>

#include "CommandLine.h"
#include "Program.h"

namespace RynvelTest {
namespace {

using Common::CommandDescription;
using Common::OptionDescription;
using Lines = std::multiset<std::string>;

std::string contentsOf(const std::string& path) {
    std::ostringstream text;
    text << std::ifstream(path).rdbuf();
    return text.str();
}

std::string page(const std::string& name) { return contentsOf(RYNVEL_MANUAL_PAGES "/" + name); }

/** Returns the text of a line in mdoc(7), without the brackets of Oo and Oc. */
std::string plain(const std::string& line) {
    std::string text;
    std::string macro;
    for (const std::string& word : words(line)) {
        if (word == "Fl" || word == "Op") {
            macro = word;
        } else if (word != "Cm" && word != "Ar" && word != "Oo" && word != "Oc" && word != ",") {
            text += text.empty() ? "" : " ";
            text += macro == "Fl" ? '-' + word : macro == "Op" ? '[' + word + ']' : word;
            macro.clear();
        }
    }
    return text;
}

/** Returns the list items of a page that begin with a macro, Fl for options or Cm for commands. */
Lines itemsOf(const std::string& name, const std::string& macro) {
    const std::string start = ".It " + macro + ' ';
    Lines items;
    std::istringstream lines(page(name));
    for (std::string line; std::getline(lines, line);) {
        if (line.compare(0, start.size(), start) == 0) {
            items.insert(plain(line.substr(4)));
        }
    }
    return items;
}

/** Returns the words that follow a macro anywhere in a page. */
std::set<std::string> wordsAfter(const std::string& macro, const std::string& name) {
    std::istringstream text(page(name));
    std::set<std::string> found;
    for (std::string previous, word; text >> word; previous = word) {
        if (previous == macro || previous == '.' + macro) {
            found.insert(word);
        }
    }
    return found;
}

std::string inSynopsis(const OptionDescription& option) {
    std::string text;
    for (const std::string& name : option.names) {
        text += (text.empty() ? "" : " ") + name;
    }
    text += option.valueName.empty() ? "" : ' ' + option.valueName;
    if (!option.isPositional) {
        return text;
    }
    return (option.isRequired ? text : '[' + text + ']') + (option.takesMultipleValues ? " ..." : "");
}

/** Returns the synopsis of a command as a page shows it, with the options first. */
std::string synopsis(const CommandDescription& command, const std::string& name) {
    std::string text = name;
    for (const bool isPositional : {false, true}) {
        for (const OptionDescription& option : command.options) {
            text += option.isPositional == isPositional ? ' ' + inSynopsis(option) : "";
        }
    }
    return text;
}

/**
 * Returns the synopses of the commands of a program. A command with subcommands contributes the synopses of its
 * subcommands instead of its own.
 */
Lines synopses(const CommandDescription& program, const std::string& before = "") {
    Lines lines;
    for (const CommandDescription& command : program.commands) {
        const std::string name = before + command.name;
        lines.merge(command.commands.empty() ? Lines{synopsis(command, name)} : synopses(command, name + ' '));
    }
    return lines;
}

std::set<std::string> optionNames(const CommandDescription& program) {
    std::set<std::string> names;
    for (const OptionDescription& option : program.options) {
        if (!option.isPositional) {
            std::transform(option.names.begin(), option.names.end(), std::inserter(names, names.end()),
                           [](const std::string& name) { return name.substr(1); });
        }
    }
    for (const CommandDescription& command : program.commands) {
        names.merge(optionNames(command));
    }
    return names;
}

/** Returns the options in the help of a program, without their descriptions. */
Lines optionsInHelp(const std::string& program) {
    std::istringstream help(runProgram(program, {"--help"}, ".").output);
    Lines options;
    for (std::string line; std::getline(help, line);) {
        if (line.compare(0, 3, "  -") == 0) {
            std::string names = words(line.substr(2)).front();
            std::replace(names.begin(), names.end(), ',', ' ');
            options.insert(names);
        }
    }
    return options;
}

TEST(ManualPages, ListTheGlobalOptionsOfRynvelctl) {
    Lines options;
    for (const OptionDescription& option : Rynvelctl::CommandLine().describe().options) {
        options.insert(inSynopsis(option));
    }
    EXPECT_EQ(itemsOf("rynvelctl.1", "Fl"), options);
}

TEST(ManualPages, ListTheCommandsOfRynvelctlWithTheirOptionsAndArguments) {
    EXPECT_EQ(itemsOf("rynvelctl.1", "Cm"), synopses(Rynvelctl::CommandLine().describe()));
}

TEST(ManualPages, ListNoUnknownOptionOfRynvelctl) {
    EXPECT_EQ(wordsAfter("Fl", "rynvelctl.1"), optionNames(Rynvelctl::CommandLine().describe()));
}

TEST(ManualPages, HaveTheUsualSectionsForRynvelctl) {
    for (const std::string section : {"EXAMPLES", "ENVIRONMENT", "EXIT STATUS", "SEE ALSO"}) {
        const std::string heading = "\n.Sh " + section + '\n';
        const std::string text = page("rynvelctl.1") + "\n.Sh ";
        const std::size_t position = text.find(heading);
        ASSERT_NE(position, std::string::npos) << section;
        const std::size_t begin = position + heading.size();
        EXPECT_GT(words(text.substr(begin, text.find("\n.Sh ", begin) - begin)).size(), 3U) << section;
    }
}

TEST(ManualPages, ListTheOptionsOfRynveld) {
    Lines options;
    for (const std::string& item : itemsOf("rynveld.8", "Fl")) {
        options.insert(item.substr(0, item.find_first_of("ABCDEFGHIJKLMNOPQRSTUVWXYZ") - 1));
    }
    EXPECT_EQ(options, optionsInHelp(RYNVELD));
}

TEST(ManualPages, ListNoUnknownOptionOfRynveld) {
    std::set<std::string> names;
    for (const std::string& option : optionsInHelp(RYNVELD)) {
        for (const std::string& name : words(option)) {
            names.insert(name.substr(1));
        }
    }
    EXPECT_EQ(wordsAfter("Fl", "rynveld.8"), names);
}

TEST(ManualPages, ListTheFunctionsOfTheLibrary) {
    std::istringstream header(contentsOf(RYNVEL_HEADER));
    std::set<std::string> functions;
    for (std::string word; header >> word;) {
        if (word == "RYNVEL_EXPORT") {
            std::getline(header >> word >> std::ws, word, '(');
            functions.insert(word);
        }
    }
    std::set<std::string> described = wordsAfter("Fn", "librynvel.3");
    described.merge(wordsAfter("Fo", "librynvel.3"));
    EXPECT_EQ(described, functions);
}

} // namespace
} // namespace RynvelTest
