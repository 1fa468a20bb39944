#include "CommandLine.h"

#include <algorithm>
#include <string>
#include <string_view>

#include "Completion.h"
#include "Failure.h"
#include "HelpText.h"
#include "ServerAddress.h"

namespace Rynvelctl {

namespace {

// An empty argument comes from an unset variable of a script. The parser would take a word in brackets for a list.
void checkArgument(const std::string& word) {
    if (word.empty() || (word.compare(0, 2, "--") == 0 && word.back() == '=')) {
        throw usageError(word.empty() ? "an argument is empty" : "the value of " + word + " is empty");
    }
    if (word.front() == '[') {
        throw usageError("'" + word + "' is neither a name nor a number");
    }
}

} // namespace

CommandLine::CommandLine() : m_parser("rynvelctl", summary, helpFooter()) {
    m_parser.addVersionFlag("rynvelctl " RYNVELCTL_VERSION, "show the version and end");
    m_parser.addHelpFlag("show this text and end");
    addGlobalOptions(m_parser.program());
    addDeviceCommands(m_parser.program(), m_action);
    addRegisterCommands(m_parser.program(), m_action);
    addInterruptCommands(m_parser.program(), m_action);
    addServerCommands(m_parser.program(), m_action);
}

void CommandLine::addGlobalOptions(const Common::Command& program) {
    program.addOption("--remote", "HOST[:PORT]", m_options.remote,
                      "use the devices of a register server; the port is " + std::to_string(Common::defaultPort) +
                          " when not given");
    program.addOption("--type", "TYPE", m_options.type,
                      "the type of the remote device at its server, as Uio32; not needed for names that this machine "
                      "has, too");
    program.addOption("--timeout", "TIME", m_options.timeout,
                      "give up when the command takes longer; when not given, only each answer of a server has a "
                      "limit, 5s");
    const auto quiet =
        program.addFlag("--quiet", m_options.isQuiet, "print bare values, and nothing for what is only done");
    program.addFlag("--json", m_options.isJson, "print JSON, one value a line").excludes(quiet);
    program
        .addOption("--trace", "CHANNEL=LEVEL", m_options.traces,
                   "turn on the library's traces of a channel, or of all that match a pattern, up to a level")
        .takeOneValue();
}

bool CommandLine::parse(int argc, const char* const* argv) {
    std::for_each(argv + std::min(argc, 1), argv + argc, checkArgument);
    const Common::ParseResult result = m_parser.parse(argc, argv);
    switch (result.kind) {
    case Common::ParseResult::Kind::Answered:
        Output(Format::Text, CommandTimeout(std::nullopt)).write(result.text);
        return false;
    case Common::ParseResult::Kind::Wrong:
        throw usageError(result.text);
    default:
        return true;
    }
}

void CommandLine::complete(const std::vector<std::string>& words) const {
    std::string lines;
    for (const std::string& word : completions(describe(), words)) {
        lines += word + '\n';
    }
    Output(Format::Text, CommandTimeout(std::nullopt)).write(lines);
}

void CommandLine::run(int argc, const char* const* argv) {
    if (argc > 1 && std::string_view(argv[1]) == "--complete") {
        complete({argv + 2, argv + argc});
        return;
    }
    if (!parse(argc, argv)) {
        return;
    }
    if (!m_action) {
        throw usageError("no command given (rynvelctl --help shows them)");
    }
    m_action(CommandContext(m_options));
}

} // namespace Rynvelctl
