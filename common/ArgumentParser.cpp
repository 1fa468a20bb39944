// SPDX-License-Identifier: MIT
#include "ArgumentParser.h"

#include <algorithm>
#include <sstream>
#include <utility>

#include <CLI/CLI.hpp>

#include "NearestName.h"

namespace Common {

namespace {

/** Adds an option or a positional argument with a value to `app`. Returns the option; null if `app` is null. */
template <typename Value>
CLI::Option* addValue(CLI::App* app, const std::string& names, const std::string& valueName, Value& value,
                      const std::string& summary) {
    return app == nullptr ? nullptr : app->add_option(names, value, summary)->type_name(valueName);
}

/** Adds an option like addValue(). An option with a short name refuses a value that begins with an equals sign. */
template <typename Value>
CLI::Option* addOptionWithValue(CLI::App* app, const std::string& names, const std::string& valueName, Value& value,
                                const std::string& summary) {
    CLI::Option* const option = addValue(app, names, valueName, value, summary);
    if (option != nullptr && !option->get_snames().empty()) {
        // The parser takes the equals sign after a short name as a part of the value.
        option->check([name = option->get_snames().front()](const std::string& text) {
            return text.compare(0, 1, "=") == 0 ? '\'' + text + "' begins with = (write -" + name + ' ' +
                                                      (text.size() == 1 ? "VALUE" : text.substr(1)) + ')'
                                                : "";
        });
    }
    return option;
}

template <typename Value>
void addPositional(CLI::App* app, const std::string& name, Value& value, const std::string& summary, bool isRequired) {
    if (CLI::Option* const option = addValue(app, name, "", value, summary)) {
        option->required(isRequired);
    }
}

void limit(CLI::Option& option, std::size_t lowest, std::size_t highest) {
    const CLI::Range range(lowest, highest);
    const std::string problem =
        "' is not a whole number from " + std::to_string(lowest) + " to " + std::to_string(highest);
    option.check([=](const std::string& text) { return range(text).empty() ? "" : '\'' + text + problem; });
}

std::vector<std::string> namesOf(const CLI::Option& option) {
    if (option.get_positional()) {
        return {option.get_name(true)};
    }
    std::vector<std::string> names;
    for (const std::string& name : option.get_snames()) {
        names.push_back("-" + name);
    }
    for (const std::string& name : option.get_lnames()) {
        names.push_back("--" + name);
    }
    return names;
}

OptionDescription describeOption(const CLI::Option& option) {
    const bool isFlag = option.get_type_size() == 0;
    return {namesOf(option),          isFlag ? "" : option.get_type_name(),
            option.get_description(), option.get_positional(),
            option.get_required(),    option.get_items_expected_max() > 1};
}

bool isInherited(const CLI::App& app, const CLI::Option* option) {
    return app.get_parent() != nullptr && option == app.get_help_ptr();
}

CommandDescription describeCommand(const CLI::App& app) {
    CommandDescription command{app.get_name(), app.get_description(), {}, {}};
    for (const CLI::Option* const option : app.get_options()) {
        if (!isInherited(app, option)) {
            command.options.push_back(describeOption(*option));
        }
    }
    for (const CLI::App* const subcommand : app.get_subcommands({})) {
        command.commands.push_back(describeCommand(*subcommand));
    }
    return command;
}

/** Returns a reference to the help in parentheses, for the end of a message; empty if the program has no help. */
std::string helpHint(const CLI::App& app, const std::string& contents) {
    return app.get_help_ptr() == nullptr ? "" : " (--help " + contents + ')';
}

std::vector<std::string> commandNames(const CLI::App& app) {
    std::vector<std::string> names;
    for (const CLI::App* const command : app.get_subcommands({})) {
        names.push_back(command->get_name());
    }
    return names;
}

/** Returns the hint for an unknown command: a question with the most similar command, or a reference to the help. */
std::string suggestionFor(const CLI::App& app, const std::string& word) {
    const std::vector<std::string> nearest = nearestNames(word, commandNames(app));
    return nearest.empty() ? helpHint(app, "lists the commands") : " (" + didYouMean({nearest.front()}) + ')';
}

/** Returns the error message for a wrong number of values. @param problem the message of the parsing library. */
std::string describeNumberOfValues(const std::string& problem) {
    const std::size_t position = problem.find(": At Most 1 required");
    return position == std::string::npos ? problem
                                         : problem.substr(0, position) + ": the option has several values (give one)";
}

/** Returns the innermost command that the command line selects; the program itself if no command is selected. */
CLI::App& selectedCommand(CLI::App& app) {
    const std::vector<CLI::App*> selected = app.get_subcommands();
    return selected.empty() ? app : selectedCommand(*selected.front());
}

std::string describeUnexpectedArgument(CLI::App& app, const std::string& word) {
    const CLI::App& command = selectedCommand(app);
    const std::vector<std::string> names = commandNames(command);
    if (names.empty()) {
        return "unexpected argument '" + word + "'" + helpHint(app, "shows the arguments");
    }
    const std::string object = command.get_parent() == nullptr ? "" : command.get_name() + ": ";
    if (std::find(names.begin(), names.end(), word) != names.end()) {
        return object + "the command '" + word + "' cannot follow -- (leave out --)";
    }
    return object + "unknown command '" + word + "'" + suggestionFor(command, word);
}

/**
 * Returns the name of a command after the names of its outer commands, as in "maps list"; empty for the program itself.
 */
std::string pathOf(const CLI::App& command) {
    if (command.get_parent() == nullptr) {
        return "";
    }
    const std::string before = pathOf(*command.get_parent());
    return before.empty() ? command.get_name() : before + ' ' + command.get_name();
}

/** The column in which the descriptions of a help begin. */
constexpr std::size_t descriptionColumn = 26;

/** Breaks a line at spaces into lines of at most 80 characters, where possible. Ends each line with a newline. */
std::string wrapped(std::string line) {
    constexpr std::size_t longestLine = 80;
    const std::size_t indentation = line.compare(0, 1, " ") == 0 ? descriptionColumn : 0;
    std::string text;
    while (line.size() > longestLine) {
        const std::size_t blank = line.rfind(' ', longestLine);
        if (blank == std::string::npos || blank <= indentation) {
            break;
        }
        text += line.substr(0, blank) + '\n';
        line = std::string(indentation, ' ') + line.substr(blank + 1);
    }
    return text + line + '\n';
}

std::string helpOf(const CLI::App& program) {
    const auto formatter = program.get_formatter();
    formatter->column_width(descriptionColumn);
    formatter->label("Positionals", "Arguments");
    formatter->label("SUBCOMMAND", "COMMAND");
    formatter->label("REQUIRED", "");
    std::istringstream lines(program.help());
    std::string text;
    for (std::string line; std::getline(lines, line);) {
        text += wrapped(line);
    }
    return text;
}

} // namespace

OptionReference OptionReference::showDefault() const {
    if (m_option != nullptr) {
        m_option->capture_default_str();
    }
    return *this;
}

OptionReference OptionReference::takeOneValue() const {
    if (m_option != nullptr) {
        m_option->allow_extra_args(false);
    }
    return *this;
}

OptionReference OptionReference::mayOmitValue() const {
    if (m_option != nullptr) {
        m_option->expected(0, CLI::detail::expected_max_vector_size)->allow_extra_args(false);
    }
    return *this;
}

OptionReference OptionReference::needs(OptionReference other) const {
    if (m_option != nullptr) {
        m_option->needs(other.m_option);
    }
    return *this;
}

OptionReference OptionReference::excludes(OptionReference other) const {
    if (m_option != nullptr) {
        m_option->excludes(other.m_option);
    }
    return *this;
}

OptionReference Command::addFlag(const std::string& names, bool& isGiven, const std::string& summary) const {
    return OptionReference(m_app == nullptr ? nullptr : m_app->add_flag(names, isGiven, summary));
}

OptionReference Command::addOption(const std::string& names, const std::string& valueName, std::string& value,
                                   const std::string& summary) const {
    return OptionReference(addOptionWithValue(m_app, names, valueName, value, summary));
}

OptionReference Command::addOption(const std::string& names, const std::string& valueName,
                                   std::vector<std::string>& values, const std::string& summary) const {
    return OptionReference(addOptionWithValue(m_app, names, valueName, values, summary));
}

OptionReference Command::addOption(const std::string& names, const std::string& valueName, std::size_t& value,
                                   std::size_t lowest, std::size_t highest, const std::string& summary) const {
    CLI::Option* const option = addOptionWithValue(m_app, names, valueName, value, summary);
    if (option != nullptr) {
        limit(*option, lowest, highest);
    }
    return OptionReference(option);
}

void Command::addArgument(const std::string& name, std::string& value, const std::string& summary) const {
    addPositional(m_app, name, value, summary, true);
}

void Command::addArgument(const std::string& name, std::vector<std::string>& values, const std::string& summary) const {
    addPositional(m_app, name, values, summary, true);
}

void Command::addOptionalArgument(const std::string& name, std::string& value, const std::string& summary) const {
    addPositional(m_app, name, value, summary, false);
}

void Command::addOptionalArgument(const std::string& name, std::vector<std::string>& values,
                                  const std::string& summary) const {
    addPositional(m_app, name, values, summary, false);
}

Command Command::addCommand(const std::string& name, const std::string& summary,
                            std::function<void()> onSelected) const {
    if (m_app == nullptr) {
        return *this;
    }
    CLI::App* const command = m_app->add_subcommand(name, summary)->callback(std::move(onSelected));
    const bool isLeftOut = m_words != nullptr && std::find(m_words->begin(), m_words->end(), name) == m_words->end();
    return {isLeftOut ? nullptr : command, m_words};
}

ArgumentParser::ArgumentParser(const std::string& name, const std::string& summary, Footer footer)
    : m_app(std::make_unique<CLI::App>(summary, name)), m_footer(std::move(footer)) {
    m_app->set_help_flag();
    // With a limit of one command, the parser takes a later word as an argument, even if the word names a command.
    m_app->require_subcommand(0, 1);
    m_app->fallthrough();
}

ArgumentParser::~ArgumentParser() = default;

void ArgumentParser::leaveOutCommandsMissingIn(int argc, const char* const* argv) {
    m_words = std::make_unique<const std::vector<std::string>>(argv, argv + argc);
}

void ArgumentParser::addHelpFlag(const std::string& summary) { m_app->set_help_flag("-h,--help", summary); }

void ArgumentParser::addVersionFlag(const std::string& version, const std::string& summary) {
    m_app->set_version_flag("--version", version, summary);
}

void ArgumentParser::addHint(const std::string& beginning, const std::string& hint) {
    m_hints.emplace_back(beginning, hint);
}

std::string ArgumentParser::describeUnknownOption(const std::string& option) const {
    const auto known = std::find_if(m_hints.begin(), m_hints.end(), [&option](const auto& hint) {
        return option.compare(0, hint.first.size(), hint.first) == 0;
    });
    return "unknown option '" + option + '\'' +
           (known == m_hints.end() ? helpHint(*m_app, "lists the options") : " (" + known->second + ')');
}

std::string ArgumentParser::describeUnexpectedWord() const {
    const std::string word = m_app->remaining(true).front();
    return word[0] == '-' ? describeUnknownOption(word) : describeUnexpectedArgument(*m_app, word);
}

Command ArgumentParser::program() { return {m_app.get(), m_words.get()}; }

CommandDescription ArgumentParser::describe() const { return describeCommand(*m_app); }

ParseResult ArgumentParser::parse(int argc, const char* const* argv) {
    try {
        m_app->parse(argc, argv);
        return {ParseResult::Kind::Parsed, ""};
    } catch (const CLI::CallForHelp&) {
        CLI::App& command = selectedCommand(*m_app);
        command.footer(m_footer(pathOf(command)));
        return {ParseResult::Kind::InfoRequested, helpOf(*m_app)};
    } catch (const CLI::CallForVersion& version) {
        return {ParseResult::Kind::InfoRequested, version.what() + std::string("\n")};
    } catch (const CLI::ExtrasError&) {
        return {ParseResult::Kind::Invalid, describeUnexpectedWord()};
    } catch (const CLI::ArgumentMismatch& error) {
        return {ParseResult::Kind::Invalid, describeNumberOfValues(error.what())};
    } catch (const CLI::ParseError& error) {
        return {ParseResult::Kind::Invalid, error.what()};
    }
}

} // namespace Common
