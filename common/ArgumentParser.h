/* SPDX-License-Identifier: MIT */
/**
 * @file
 * Parses the command line of a program: its options, positional arguments and commands. Also generates the help.
 */
#ifndef RYNVEL_COMMON_ARGUMENTPARSER_H
#define RYNVEL_COMMON_ARGUMENTPARSER_H

#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

// Only one source file includes the parsing library, because the headers of this library take long to compile.
namespace CLI {
class App;
class Option;
} // namespace CLI

namespace Common {

/** Describes an option or a positional argument. */
struct OptionDescription {
    /** For an option, its names with dashes, short names first. For a positional argument, its only name. */
    std::vector<std::string> names;
    /** The placeholder of the value in the help; empty for a flag or a positional argument. */
    std::string valueName;
    std::string summary;
    bool isPositional;
    bool isRequired;
    /** Whether the option or the argument takes more than one value. */
    bool takesMultipleValues;
};

/** Describes a command, or the program itself. */
struct CommandDescription {
    std::string name;
    std::string summary;
    /**
     * The options and arguments in the order in which they were added. A command does not list the help flag that it
     * inherits.
     */
    std::vector<OptionDescription> options;
    /** The commands in the order in which they were added. */
    std::vector<CommandDescription> commands;
};

struct ParseResult {
    enum class Kind {
        /** The variables hold the values from the command line. */
        Parsed,
        /**
         * The user asks for help or the version. `text` is the text to print, with a line end. Each line of a help has
         * at most 80 characters.
         */
        InfoRequested,
        /** The command line is wrong. `text` says why. For a misspelled command, `text` suggests the right command. */
        Invalid
    };

    Kind kind;
    std::string text;
};

/** Changes the properties of an added option. Do not use the object after its ArgumentParser is destroyed. */
class OptionReference {
public:
    /** Makes the help show the value that the variable has during this call. */
    OptionReference showDefault() const;

    /**
     * Takes one value each time the user gives the option. Without this call, an option with a list of values takes all
     * words up to the next option.
     */
    OptionReference takeOneValue() const;

    /**
     * Lets the user give the option without a value. The list then has an empty text in place of the value. A value
     * must follow an equals sign, because a separate word could also be an argument.
     */
    OptionReference mayOmitValue() const;

    /** Makes it an error to give this option without `other`. */
    OptionReference needs(OptionReference other) const;

    /** Makes it an error to give this option together with `other`. */
    OptionReference excludes(OptionReference other) const;

private:
    friend class Command;
    explicit OptionReference(CLI::Option* option) : m_option(option) {}

    /** Null for an option of a command that ArgumentParser::leaveOutCommandsMissingIn() leaves out. */
    CLI::Option* m_option;
};

/**
 * A command of a program, or the program itself. Do not use the object after its ArgumentParser is destroyed.
 *
 * ArgumentParser::parse() stores the values in the variables, which must exist until the end of that call. A variable
 * keeps its value if the command line does not contain the option. `names` lists the names of an option as the user
 * types them, separated by commas, as in "-h,--help". Adding an invalid name, or a name that exists already, throws a
 * std::runtime_error.
 */
class Command {
public:
    OptionReference addFlag(const std::string& names, bool& isGiven, const std::string& summary) const;
    OptionReference addOption(const std::string& names, const std::string& valueName, std::string& value,
                              const std::string& summary) const;
    /** Adds an option that the user may repeat, with any number of values each time. */
    OptionReference addOption(const std::string& names, const std::string& valueName, std::vector<std::string>& values,
                              const std::string& summary) const;
    /** Adds an option whose value is a number from `lowest` to `highest`. */
    OptionReference addOption(const std::string& names, const std::string& valueName, std::size_t& value,
                              std::size_t lowest, std::size_t highest, const std::string& summary) const;

    /** Adds a required positional argument. */
    void addArgument(const std::string& name, std::string& value, const std::string& summary) const;
    /** Adds a positional argument that requires at least one value. */
    void addArgument(const std::string& name, std::vector<std::string>& values, const std::string& summary) const;
    /** Adds an optional positional argument. */
    void addOptionalArgument(const std::string& name, std::string& value, const std::string& summary) const;
    /** Adds a positional argument that takes any number of values. */
    void addOptionalArgument(const std::string& name, std::vector<std::string>& values,
                             const std::string& summary) const;

    /**
     * Adds a command. The new command may have inner commands. The parser does not require an inner command: check for
     * a missing inner command in `onSelected`.
     *
     * @param onSelected the function that parse() calls if a valid command line has the command. The function of an
     * inner command is called first.
     */
    Command addCommand(const std::string& name, const std::string& summary, std::function<void()> onSelected) const;

private:
    friend class ArgumentParser;
    Command(CLI::App* app, const std::vector<std::string>* words) : m_app(app), m_words(words) {}

    /** Null for a command whose options and commands are left out. */
    CLI::App* m_app;
    /** The words of the command line, or null if no command is left out. */
    const std::vector<std::string>* m_words;
};

/**
 * Parses a command line that has at most one command of the program. If the command has inner commands, one inner
 * command may follow it. Options of the program may precede or follow the command.
 */
class ArgumentParser {
public:
    /** Returns the last lines of the help of a command, such as "maps list". The program itself is "". */
    using Footer = std::function<std::string(const std::string& command)>;

    ArgumentParser(const std::string& name, const std::string& summary, Footer footer);
    ArgumentParser(const ArgumentParser&) = delete;
    ArgumentParser& operator=(const ArgumentParser&) = delete;
    ~ArgumentParser();

    /**
     * Leaves out the options, arguments and commands of each command whose name is not a word of the command line,
     * because adding them takes most of the time that a program needs to start. Call this function before you add
     * commands. After this call, describe() is incomplete, and parse() accepts only this command line.
     */
    void leaveOutCommandsMissingIn(int argc, const char* const* argv);

    /** Adds -h and --help to the program and to every command that is added later. */
    void addHelpFlag(const std::string& summary);

    /** Adds --version. @param version the text to print, without a line end. */
    void addVersionFlag(const std::string& version, const std::string& summary);

    /**
     * Adds a hint to the error message for an unknown option. The hint replaces the reference to the help.
     *
     * @param beginning the first characters of the option, such as "--width".
     * @param hint the text for the parentheses at the end of the message.
     */
    void addHint(const std::string& beginning, const std::string& hint);

    /** Returns the program itself, to which you add options and commands. */
    Command program();

    CommandDescription describe() const;

    /**
     * Stores the values from the command line in their variables, and calls `onSelected` of each selected command. If
     * the result is not `Parsed`, some of the variables may have changed.
     *
     * @param argv the name of the program and its arguments, as main() receives them.
     */
    ParseResult parse(int argc, const char* const* argv);

private:
    std::string describeUnknownOption(const std::string& option) const;
    /**
     * Returns the error message for the words that no option or argument takes. Reports only the first word, because
     * the words after an unknown option may be values of that option.
     */
    std::string describeUnexpectedWord() const;

    std::unique_ptr<CLI::App> m_app;
    Footer m_footer;
    /** Beginnings of unknown options and their hints. */
    std::vector<std::pair<std::string, std::string>> m_hints;
    std::unique_ptr<const std::vector<std::string>> m_words;
};

} // namespace Common

#endif
