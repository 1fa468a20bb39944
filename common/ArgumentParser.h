/* SPDX-License-Identifier: MIT */
/**
 * @file
 * Parses the command line of a program: its options, positional arguments and commands. Generates the help.
 */
#ifndef RYNVEL_COMMON_ARGUMENTPARSER_H
#define RYNVEL_COMMON_ARGUMENTPARSER_H

#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <vector>

// The parsing library takes longer to compile than the rest of a program, so only one source file includes it.
namespace CLI {
class App;
class Option;
} // namespace CLI

namespace Common {

/** Describes an option or a positional argument. */
struct OptionDescription {
    /** Option: its names with dashes, short names first. Positional argument: its only name. */
    std::vector<std::string> names;
    /** The placeholder of the value in the help; empty for a flag or a positional argument. */
    std::string valueName;
    std::string summary;
    bool isPositional;
    bool isRequired;
    /** Whether it takes more than one value. */
    bool takesMultipleValues;
};

/** Describes a command, or the program itself. */
struct CommandDescription {
    std::string name;
    std::string summary;
    /** In the order in which they were added. Commands do not list the help flag that they inherit. */
    std::vector<OptionDescription> options;
    /** In the order in which they were added. */
    std::vector<CommandDescription> commands;
};

struct ParseResult {
    enum class Kind {
        /** The variables hold the values that were given. */
        Parsed,
        /** The user asks for help or the version: `text` is what to print, with a line end. */
        InfoRequested,
        /** The command line is wrong: `text` says why. For a misspelt command it suggests the right one. */
        Invalid
    };

    Kind kind;
    std::string text;
};

/** Changes the properties of an option that was added. It must not outlive its ArgumentParser. */
class OptionReference {
public:
    /** Shows the current value of the variable in the help. */
    OptionReference showDefault() const;

    /** For a list: takes only one value each time the option is given, not all words up to the next option. */
    OptionReference takeOneValue() const;

    /** Makes it an error to give this option without the other one. */
    OptionReference needs(OptionReference other) const;

    /** Makes it an error to give both options. */
    OptionReference excludes(OptionReference other) const;

private:
    friend class Command;
    explicit OptionReference(CLI::Option& option) : m_option(&option) {}

    CLI::Option* m_option;
};

/**
 * A command of a program, or the program itself. It must not outlive its ArgumentParser.
 *
 * Parsing stores the values in the variables, which must live until then. A variable keeps its value if its option is
 * not given. `names` lists the names of an option as the user types them, separated by commas, as in "-h,--help".
 * Adding an invalid name, or a name that exists already, throws a std::runtime_error.
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

    /** Adds a command. @param onSelected is called if a valid command line contains the command. */
    Command addCommand(const std::string& name, const std::string& summary, std::function<void()> onSelected) const;

private:
    friend class ArgumentParser;
    explicit Command(CLI::App& app) : m_app(&app) {}

    CLI::App* m_app;
};

/**
 * Parses a command line that has at most one command. Options of the program may precede or follow the command.
 */
class ArgumentParser {
public:
    /** @param footer the last lines of the help of the program and of its commands. */
    ArgumentParser(const std::string& name, const std::string& summary, const std::string& footer);
    ArgumentParser(const ArgumentParser&) = delete;
    ArgumentParser& operator=(const ArgumentParser&) = delete;
    ~ArgumentParser();

    /** Adds -h and --help to the program and to every command that is added later. */
    void addHelpFlag(const std::string& summary);

    /** Adds --version. @param version the text to print, without a line end. */
    void addVersionFlag(const std::string& version, const std::string& summary);

    /** The program itself, to which you add options and commands. */
    Command program();

    CommandDescription describe() const;

    /**
     * Stores the given values in their variables, and calls `onSelected` of the given command. If the result is not
     * `Parsed`, some of the variables may have changed.
     *
     * @param argv the program's name and its arguments, as main() receives them.
     */
    ParseResult parse(int argc, const char* const* argv);

private:
    std::unique_ptr<CLI::App> m_app;
};

} // namespace Common

#endif
