// SPDX-License-Identifier: MIT
#include "ArgumentParser.h"

#include <algorithm>
#include <iterator>
#include <sstream>

#include <gtest/gtest.h>

namespace RynvelTest {
namespace {

using Common::ArgumentParser;
using Common::Command;
using Common::CommandDescription;
using Common::ParseResult;
using Words = std::vector<std::string>;

/** A fixture for a program with every kind of option, argument and command. */
class ArgumentParsers : public testing::Test {
protected:
    ArgumentParsers() {
        m_parser.addHelpFlag("shows this text");
        m_parser.addVersionFlag("program 1.2", "shows the version");
        const Command program = m_parser.program();
        const auto name = program.addOption("-n,--name", "NAME", m_name, "a text").showDefault();
        program.addOption("--size", "SIZE", m_size, 1, 10, "a number").needs(name);
        program.addOption("--one", "ITEM", m_singles, "one value each").takeOneValue();
        program.addOption("--some", "ITEM", m_several, "values up to the next option");
        program.addFlag("--flag", m_isGiven, "a flag").excludes(name);
        const Command command = program.addCommand("command", "does it", [this] { ++m_calls; });
        command.addArgument("FIRST", m_first, "must be given");
        command.addArgument("REST", m_rest, "must be given, too");
        program.addCommand("other", "does nothing", [] {}).addOptionalArgument("LAST", m_last, "may be given");
        program.addCommand("several", "takes any number", [] {}).addOptionalArgument("MORE", m_more, "may be given");
    }

    ParseResult parse(const Words& words) {
        std::vector<const char*> pointers = {"program"};
        for (const std::string& word : words) {
            pointers.push_back(word.c_str());
        }
        return m_parser.parse(static_cast<int>(pointers.size()), pointers.data());
    }

    void expectParsed(const Words& words) {
        const ParseResult result = parse(words);
        EXPECT_EQ(result.kind, ParseResult::Kind::Parsed) << result.text;
        EXPECT_EQ(result.text, "");
    }

    void expectWrong(const Words& words, const std::string& problem) {
        const ParseResult result = parse(words);
        EXPECT_EQ(result.kind, ParseResult::Kind::Invalid);
        EXPECT_EQ(result.text, problem);
    }

    std::string answerTo(const Words& words) {
        const ParseResult result = parse(words);
        EXPECT_EQ(result.kind, ParseResult::Kind::InfoRequested);
        return result.text;
    }

    ArgumentParser m_parser{"program", "what it is for",
                            [](const std::string& command) { return "the footer of '" + command + "'"; }};
    std::string m_name = "default";
    std::size_t m_size = 3;
    std::vector<std::string> m_singles;
    std::vector<std::string> m_several;
    bool m_isGiven = false;
    std::string m_first;
    std::vector<std::string> m_rest;
    std::string m_last = "default";
    std::vector<std::string> m_more;
    int m_calls = 0;
};

TEST_F(ArgumentParsers, KeepTheDefaultsOfOptionsThatAreNotGiven) {
    expectParsed({});
    EXPECT_EQ(m_name, "default");
    EXPECT_EQ(m_size, 3U);
    EXPECT_EQ(m_singles, Words());
    EXPECT_FALSE(m_isGiven);
    EXPECT_EQ(m_calls, 0);
}

TEST_F(ArgumentParsers, StoreValues) {
    expectParsed({"-n", "text", "--size=10", "--one", "a", "--one=b", "--some", "c", "d"});
    EXPECT_EQ(m_name, "text");
    EXPECT_EQ(m_size, 10U);
    EXPECT_EQ(m_singles, (Words{"a", "b"}));
    EXPECT_EQ(m_several, (Words{"c", "d"}));
}

TEST_F(ArgumentParsers, CallTheNamedCommand) {
    expectParsed({"command", "1", "2", "3", "--flag"});
    EXPECT_EQ(m_calls, 1);
    EXPECT_EQ(m_first, "1");
    EXPECT_EQ(m_rest, (Words{"2", "3"}));
    EXPECT_TRUE(m_isGiven);
}

TEST_F(ArgumentParsers, AcceptACommandNameAsALaterArgument) {
    expectParsed({"other", "command"});
    EXPECT_EQ(m_last, "command");
    EXPECT_EQ(m_calls, 0);
}

TEST_F(ArgumentParsers, AllowAnOptionalArgument) {
    expectParsed({"other"});
    EXPECT_EQ(m_last, "default");
    expectParsed({"several"});
    EXPECT_EQ(m_more, Words());
}

TEST_F(ArgumentParsers, AcceptSeveralOptionalArguments) {
    expectParsed({"several", "1", "2", "--flag"});
    EXPECT_EQ(m_more, (Words{"1", "2"}));
    EXPECT_TRUE(m_isGiven);
}

TEST_F(ArgumentParsers, SayWhatIsWrong) {
    expectWrong({"--nothing"}, "unknown option '--nothing' (--help lists the options)");
    expectWrong({"--name"}, "--name: 1 required NAME missing");
    expectWrong({"other", "--one", "a", "b", "c"}, "unexpected argument 'c' (--help shows the arguments)");
    expectWrong({"--name", "a", "--size", "11"}, "--size: '11' is not a whole number from 1 to 10");
    expectWrong({"--name", "a", "--size", "0"}, "--size: '0' is not a whole number from 1 to 10");
    expectWrong({"--size", "2"}, "--size requires --name");
    expectWrong({"-n=text"}, "--name: '=text' begins with = (write -n text)");
    expectWrong({"-n="}, "--name: '=' begins with = (write -n VALUE)");
    expectWrong({"-n", "a", "--name", "b"}, "--name: the option has several values (give one)");
    expectWrong({"--flag", "--name", "a"}, "--name excludes --flag");
    expectWrong({"command"}, "FIRST is required");
    expectWrong({"command", "1"}, "REST is required");
    EXPECT_EQ(m_calls, 0);
}

TEST_F(ArgumentParsers, EndTheMessageForAnUnknownOptionWithItsHint) {
    m_parser.addHint("--depth", "the program measures it");
    expectWrong({"--depth", "1"}, "unknown option '--depth' (the program measures it)");
    expectWrong({"other", "--depth=1"}, "unknown option '--depth=1' (the program measures it)");
    expectWrong({"--dept"}, "unknown option '--dept' (--help lists the options)");
}

TEST_F(ArgumentParsers, SuggestTheMostSimilarCommand) {
    expectWrong({"comand"}, "unknown command 'comand' (did you mean 'command'?)");
    expectWrong({"commandos", "1", "2"}, "unknown command 'commandos' (did you mean 'command'?)");
    expectWrong({"--flag", "ohter", "--nothing"}, "unknown command 'ohter' (did you mean 'other'?)");
    expectWrong({"cxxxand"}, "unknown command 'cxxxand' (--help lists the commands)");
    expectWrong({"ohtre"}, "unknown command 'ohtre' (did you mean 'other'?)");
    expectWrong({"--nothing", "1", "ohter"}, "unknown option '--nothing' (--help lists the options)");
    expectWrong({"frobnicate"}, "unknown command 'frobnicate' (--help lists the commands)");
    expectWrong({"o"}, "unknown command 'o' (--help lists the commands)");
    EXPECT_EQ(m_calls, 0);
}

TEST_F(ArgumentParsers, PrintTheVersion) { EXPECT_EQ(answerTo({"--version"}), "program 1.2\n"); }

TEST_F(ArgumentParsers, PrintTheHelpOfTheProgram) {
    const std::string help = answerTo({"--help"});
    for (const char* text : {"what it is for\n", "  -n,--name NAME=default ", "  --size SIZE Needs: --name",
                             "  --one ITEM ... ", "  --some ITEM ... ", "  command  ", "\nthe footer of ''\n"}) {
        EXPECT_NE(help.find(text), std::string::npos) << text << " in\n" << help;
    }
}

TEST_F(ArgumentParsers, PrintTheHelpOfACommand) {
    const std::string help = answerTo({"command", "-h"});
    for (const char* text : {"does it\n", "Usage: program command [OPTIONS] FIRST REST...\n", "shows this text",
                             "\nthe footer of 'command'\n"}) {
        EXPECT_NE(help.find(text), std::string::npos) << text << " in\n" << help;
    }
}

TEST_F(ArgumentParsers, WrapTheLinesOfTheHelp) {
    const Command program = m_parser.program();
    std::string text;
    for (int i = 0; i < 30; ++i) {
        text += "word ";
    }
    program.addFlag("--long", m_isGiven, text + "end");
    std::istringstream lines(answerTo({"--help"}));
    std::string all;
    for (std::string line; std::getline(lines, line); all += line + '\n') {
        EXPECT_LE(line.size(), 80U) << line;
    }
    const std::string indentation = '\n' + std::string(26, ' ');
    EXPECT_NE(all.find("  --long                  word word"), std::string::npos) << all;
    EXPECT_NE(all.find(indentation + "word word"), std::string::npos) << all;
    EXPECT_NE(all.find(" end\n"), std::string::npos) << all;
}

TEST_F(ArgumentParsers, DescribeThemselves) {
    const CommandDescription program = m_parser.describe();
    EXPECT_EQ(program.name, "program");
    EXPECT_EQ(program.summary, "what it is for");
    ASSERT_EQ(program.options.size(), 7U);
    EXPECT_EQ(program.options[0].names, (Words{"-h", "--help"}));
    EXPECT_EQ(program.options[0].valueName, "");
    EXPECT_EQ(program.options[3].names, Words{"--size"});
    EXPECT_EQ(program.options[3].valueName, "SIZE");
    EXPECT_EQ(program.options[3].summary, "a number");
    EXPECT_FALSE(program.options[3].isPositional);
    EXPECT_FALSE(program.options[3].takesMultipleValues);
    EXPECT_TRUE(program.options[4].takesMultipleValues);
    EXPECT_TRUE(program.options[5].takesMultipleValues);
    ASSERT_EQ(program.commands.size(), 3U);
    EXPECT_EQ(program.commands[1].name, "other");
}

TEST_F(ArgumentParsers, DescribeTheirCommands) {
    const CommandDescription command = m_parser.describe().commands[0];
    EXPECT_EQ(command.name, "command");
    EXPECT_EQ(command.summary, "does it");
    ASSERT_EQ(command.options.size(), 2U);
    EXPECT_EQ(command.options[1].names, Words{"REST"});
    EXPECT_EQ(command.options[1].valueName, "");
    EXPECT_TRUE(command.options[1].isPositional);
    EXPECT_TRUE(command.options[1].isRequired);
    EXPECT_TRUE(command.options[1].takesMultipleValues);
    EXPECT_FALSE(m_parser.describe().commands[1].options[0].isRequired);
    EXPECT_FALSE(m_parser.describe().commands[2].options[0].isRequired);
    EXPECT_TRUE(m_parser.describe().commands[2].options[0].takesMultipleValues);
}

/**
 * A fixture for a parser of one command line, with two commands. Each command has every kind of option and argument.
 */
class ParsersOfOneCommandLine : public testing::Test {
protected:
    ParseResult parse(std::vector<const char*> words) {
        words.insert(words.begin(), "program");
        m_parser.leaveOutCommandsMissingIn(static_cast<int>(words.size()), words.data());
        addCommand("first");
        addCommand("second");
        return m_parser.parse(static_cast<int>(words.size()), words.data());
    }

    void addCommand(const std::string& name) {
        const Command command = m_parser.program().addCommand(name, "does it", [=] { m_selected += name + ' '; });
        const auto flag = command.addFlag("--flag", m_isGiven, "a flag");
        command.addOption("--text", "TEXT", m_text, "a text").showDefault().needs(flag);
        command.addOption("--texts", "TEXT", m_texts, "texts").takeOneValue().excludes(flag);
        command.addOption("--size", "SIZE", m_size, 1, 10, "a number");
        command.addArgument("ARGUMENT", m_argument, "must be given");
        command.addOptionalArgument("MORE", m_texts, "may be given");
        command.addCommand("inner", "is inside", [=] { m_selected += name + ".inner "; });
    }

    ArgumentParser m_parser{"program", "what it is for",
                            [](const std::string& command) { return "the footer of '" + command + "'"; }};
    bool m_isGiven = false;
    std::string m_text;
    std::vector<std::string> m_texts;
    std::size_t m_size = 3;
    std::string m_argument;
    std::string m_selected;
};

TEST(ArgumentParser, LetsAnOptionOmitItsValue) {
    std::vector<std::string> values;
    ArgumentParser parser("program", "what it is for", [](const std::string& /*command*/) { return ""; });
    parser.program().addOption("--only", "[=NAME]", values, "all, or one").mayOmitValue();
    const auto parse = [&](const Words& words) {
        values.clear();
        std::vector<const char*> pointers = {"program"};
        std::transform(words.begin(), words.end(), std::back_inserter(pointers),
                       [](const std::string& word) { return word.c_str(); });
        return parser.parse(static_cast<int>(pointers.size()), pointers.data()).kind;
    };
    EXPECT_EQ(parse({"--only"}), ParseResult::Kind::Parsed);
    EXPECT_EQ(values, Words{""});
    EXPECT_EQ(parse({"--only=a", "--only", "--only=b"}), ParseResult::Kind::Parsed);
    EXPECT_EQ(values, (Words{"a", "", "b"}));
    EXPECT_EQ(parse({"--only", "a"}), ParseResult::Kind::Invalid);
}

TEST_F(ParsersOfOneCommandLine, HaveAllCommandsAndTheOptionsOfTheNamedOnes) {
    EXPECT_EQ(parse({"first", "--flag", "word"}).kind, ParseResult::Kind::Parsed);
    EXPECT_TRUE(m_isGiven);
    EXPECT_EQ(m_argument, "word");
    const std::vector<CommandDescription> commands = m_parser.describe().commands;
    ASSERT_EQ(commands.size(), 2U);
    EXPECT_EQ(commands[0].options.size(), 6U);
    EXPECT_EQ(commands[0].commands.size(), 1U);
    EXPECT_EQ(commands[1].name, "second");
    EXPECT_EQ(commands[1].summary, "does it");
    EXPECT_EQ(commands[1].options.size(), 0U);
    EXPECT_EQ(commands[1].commands.size(), 0U);
}

TEST_F(ParsersOfOneCommandLine, SelectTheFirstOfTwoCommandNames) {
    EXPECT_EQ(parse({"second", "first", "inner"}).text, "");
    EXPECT_EQ(m_argument, "first");
    EXPECT_EQ(m_selected, "second.inner second ");
}

TEST_F(ParsersOfOneCommandLine, SuggestACommandThatIsLeftOut) {
    EXPECT_EQ(parse({"secnd"}).text, "unknown command 'secnd' (did you mean 'second'?)");
}

} // namespace
} // namespace RynvelTest
