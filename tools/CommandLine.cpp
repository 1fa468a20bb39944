#include "CommandLine.h"

#include <algorithm>
#include <string>

#include "Failure.h"
#include "HelpText.h"

namespace Rynvelctl {

namespace {

// An empty word is a variable of a script that is not set, never a wish; words in brackets would be taken for lists.
void requireWord(const std::string& word) {
    if (word.empty() || (word.compare(0, 2, "--") == 0 && word.back() == '=')) {
        throw wrongUsage(word.empty() ? "an argument is empty" : "the value of " + word + " is empty");
    }
    if (word.front() == '[') {
        throw wrongUsage("'" + word + "' is neither a name nor a number");
    }
}

} // namespace

CommandLine::CommandLine() : m_app(summary, "rynvelctl") {
    m_app.set_version_flag("--version", "rynvelctl " RYNVELCTL_VERSION, "show the version and end");
    m_app.set_help_flag("-h,--help", "show this text and end");
    m_app.footer(helpFooter());
    // With no more than one, an argument that is called like a command is an argument.
    m_app.require_subcommand(0, 1);
    m_app.fallthrough();
    addGeneralOptions();
    addDeviceCommands(m_app, m_action);
    addRegisterCommands(m_app, m_action);
    addInterruptCommands(m_app, m_action);
    addServerCommands(m_app, m_action);
}

void CommandLine::addGeneralOptions() {
    CLI::Option* const remote = m_app.add_option(
        "--remote", m_options.remote, "use the devices of a register server; the port is 8888 when not given");
    remote->type_name("HOST[::PORT]");
    m_app
        .add_option("--width", m_options.width,
                    "bits of the remote device's registers; not needed for names that this machine has, too")
        ->type_name("8|16|32")
        ->needs(remote);
    m_app
        .add_option("--timeout", m_options.timeout,
                    "give up when the server takes longer for an answer, 5s when not given")
        ->type_name("TIME");
    CLI::Option* const quiet = m_app.add_flag("--quiet", m_options.isQuiet, "print bare values");
    m_app.add_flag("--json", m_options.isJson, "print JSON, one value a line")->excludes(quiet);
    m_app
        .add_option("--trace", m_options.traces,
                    "turn on the library's traces of a channel, or of all that match a pattern, up to a level")
        ->type_name("CHANNEL=LEVEL")
        ->expected(1)
        ->take_all();
}

bool CommandLine::parse(int argc, const char* const* argv) {
    std::for_each(argv + std::min(argc, 1), argv + argc, requireWord);
    try {
        m_app.parse(argc, argv);
        return true;
    } catch (const CLI::CallForHelp&) {
        Output::write(m_app.help());
    } catch (const CLI::CallForVersion& version) {
        Output::write(version.what() + std::string("\n"));
    } catch (const CLI::ParseError& error) {
        throw wrongUsage(error.what());
    }
    return false;
}

void CommandLine::run(int argc, const char* const* argv) {
    if (!parse(argc, argv)) {
        return;
    }
    if (!m_action) {
        throw wrongUsage("no command given (rynvelctl --help shows them)");
    }
    m_action(Session(m_options));
}

} // namespace Rynvelctl
