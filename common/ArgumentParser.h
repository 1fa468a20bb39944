/**
 * @file
 * The command line of a program: options, positional arguments and commands, their help, and the parsing.
 */
#ifndef RYNVEL_COMMON_ARGUMENTPARSER_H
#define RYNVEL_COMMON_ARGUMENTPARSER_H

#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <vector>

// The library that parses takes longer to compile than all else in a program: one source alone includes it.
namespace CLI {
class App;
class Option;
} // namespace CLI

namespace Common {

/** What a program tells of an option or of a positional argument. */
struct OptionDescription {
    /** The names of an option with their dashes, short ones first; the one name of a positional argument. */
    std::vector<std::string> names;
    /** What stands for the value; empty for a flag and for a positional argument. */
    std::string valueName;
    std::string summary;
    bool isPositional;
    bool isRequired;
    /** Whether the help shows several values in a row. */
    bool takesMultipleValues;
};

/** What a program tells of a command, or of itself. */
struct CommandDescription {
    std::string name;
    std::string summary;
    /** In the order in which they were added. A command does not list the help flag that it has from its program. */
    std::vector<OptionDescription> options;
    /** In the order in which they were added. */
    std::vector<CommandDescription> commands;
};

struct ParseResult {
    enum class Kind {
        /** The variables hold what was given. */
        Parsed,
        /** The user asks for help or version: the text is the answer, line end included. */
        InfoRequested,
        /** The command line is wrong: the text says why. For an unknown command it names the one that is meant. */
        Invalid
    };

    Kind kind;
    std::string text;
};

/** An option that a command has, to say more of it. It must not outlive its ArgumentParser. */
class OptionReference {
public:
    /** Shows in the help the value that the variable has now. */
    OptionReference showDefault() const;

    /** For a list: takes one value each time that the option is given, not all words up to the next option. */
    OptionReference takeOneValue() const;

    /** Makes this option wrong without the other one. */
    OptionReference needs(OptionReference other) const;

    /** Makes the two options wrong together. */
    OptionReference excludes(OptionReference other) const;

private:
    friend class Command;
    explicit OptionReference(CLI::Option& option) : m_option(&option) {}

    CLI::Option* m_option;
};

/**
 * A command of a program, or the program itself. It must not outlive its ArgumentParser.
 *
 * Parsing stores the values in the variables, which must live until then. A variable keeps its value when its option is
 * not given. The names of an option are those that the user writes, separated by commas, as in "-h,--help". To add a
 * name that is taken, or that is none, throws a std::runtime_error.
 */
class Command {
public:
    OptionReference addFlag(const std::string& names, bool& isGiven, const std::string& summary) const;
    OptionReference addOption(const std::string& names, const std::string& valueName, std::string& value,
                              const std::string& summary) const;
    /** Adds an option that may be given several times, with any number of values each time. */
    OptionReference addOption(const std::string& names, const std::string& valueName, std::vector<std::string>& values,
                              const std::string& summary) const;
    /** Adds an option whose value is a number from `lowest` to `highest`. */
    OptionReference addOption(const std::string& names, const std::string& valueName, std::size_t& value,
                              std::size_t lowest, std::size_t highest, const std::string& summary) const;

    /** Adds a positional argument that must be given. */
    void addArgument(const std::string& name, std::string& value, const std::string& summary) const;
    /** Adds a positional argument that must be given once at least. */
    void addArgument(const std::string& name, std::vector<std::string>& values, const std::string& summary) const;
    /** Adds a positional argument that may be left out. */
    void addOptionalArgument(const std::string& name, std::string& value, const std::string& summary) const;

    /** Adds a command. @param chosen is called when a command line that is not wrong names the command. */
    Command addCommand(const std::string& name, const std::string& summary, std::function<void()> chosen) const;

private:
    friend class ArgumentParser;
    explicit Command(CLI::App& app) : m_app(&app) {}

    CLI::App* m_app;
};

/**
 * Parses the command line of a program that has one command at most. Options of the program may stand behind the
 * command as well.
 */
class ArgumentParser {
public:
    /** @param footer ends the help of the program and of its commands. */
    ArgumentParser(const std::string& name, const std::string& summary, const std::string& footer);
    ArgumentParser(const ArgumentParser&) = delete;
    ArgumentParser& operator=(const ArgumentParser&) = delete;
    ~ArgumentParser();

    /** Adds -h and --help to the program and to every command that is added later. */
    void addHelpFlag(const std::string& summary);

    /** Adds --version. @param version is the answer, without a line end. */
    void addVersionFlag(const std::string& version, const std::string& summary);

    /** The program itself, to add its options and commands to. */
    Command program();

    CommandDescription describe() const;

    /**
     * Stores what is given, and calls what the named command wants to be called. A wrong command line, or one that is
     * answered, may have stored some of the values.
     *
     * @param argv the program's name and its arguments, as main() has them.
     */
    ParseResult parse(int argc, const char* const* argv);

private:
    std::unique_ptr<CLI::App> m_app;
};

} // namespace Common

#endif
