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

CommandLine::CommandLine() : m_parser("rynvelctl", summary, helpFooter()) {
    m_parser.addVersionFlag("rynvelctl " RYNVELCTL_VERSION, "show the version and end");
    m_parser.addHelpFlag("show this text and end");
    addGeneralOptions(m_parser.program());
    addDeviceCommands(m_parser.program(), m_action);
    addRegisterCommands(m_parser.program(), m_action);
    addInterruptCommands(m_parser.program(), m_action);
    addServerCommands(m_parser.program(), m_action);
}

void CommandLine::addGeneralOptions(const Common::Command& program) {
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
    std::for_each(argv + std::min(argc, 1), argv + argc, requireWord);
    const Common::ParseResult result = m_parser.parse(argc, argv);
    switch (result.kind) {
    case Common::ParseResult::Kind::InfoRequested:
        Output(Format::Text, CommandTime(std::nullopt)).write(result.text);
        return false;
    case Common::ParseResult::Kind::Invalid:
        throw wrongUsage(result.text);
    default:
        return true;
    }
}

/** The answer to a shell: one completion a line. */
void CommandLine::complete(const std::vector<std::string>& words) const {
    std::string lines;
    for (const std::string& word : completions(describe(), words)) {
        lines += word + '\n';
    }
    Output(Format::Text, CommandTime(std::nullopt)).write(lines);
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
        throw wrongUsage("no command given (rynvelctl --help shows them)");
    }
    m_action(Session(m_options));
}

} // namespace Rynvelctl
