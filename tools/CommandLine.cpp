// SPDX-License-Identifier: MIT
#include "CommandLine.h"

#include <rynvel.h>

#include <algorithm>
#include <string>
#include <string_view>

#include "Completion.h"
#include "Failure.h"
#include "HelpText.h"
#include "Printable.h"
#include "ServerAddress.h"
#include "Words.h"

namespace Rynvelctl {

namespace {

/** Prints the completions for a shell, one per line. */
void complete(const std::vector<std::string>& words) {
    std::string lines;
    for (const std::string& word : completions(CommandLine().describe(), words)) {
        lines += printable(word) + '\n';
    }
    Output(Format::Text, CommandTimeout(std::nullopt)).write(lines);
}

} // namespace

CommandLine::CommandLine() : m_parser("rynvelctl", programSummary, helpFooter) { addAll(); }

CommandLine::CommandLine(int argc, const char* const* argv) : m_parser("rynvelctl", programSummary, helpFooter) {
    m_parser.leaveOutCommandsMissingIn(argc, argv);
    addAll();
}

void CommandLine::addAll() {
    m_parser.addVersionFlag("rynvelctl " RYNVEL_VERSION, "show the version and exit");
    m_parser.addHelpFlag("show this help and exit");
    addHints(m_parser);
    addGlobalOptions(m_parser.program());
    addCommands(m_parser.program(), m_action);
    addRunCommand(m_parser.program(), m_action);
}

void CommandLine::addGlobalOptions(const Common::Command& program) {
    const auto remote = program.addOption(
        "-r,--remote", "HOST[:PORT]", m_options.remote,
        "use the devices of a register server; unix:/PATH is a local socket (default: the server in RYNVELCTL_REMOTE; "
        "default port: " +
            std::to_string(Common::defaultPort) + ")");
    program.addFlag("--local", m_options.isLocal, "use the devices of this machine, even with RYNVELCTL_REMOTE")
        .excludes(remote);
    program.addOption(
        "--type", "TYPE", m_options.type,
        "the type that the remote device has on its server, for example Uio32 (default: the type of the device "
        "with the same name on this machine)");
    program.addOption("-t,--timeout", "TIME", m_options.timeout,
                      "give up if the command takes longer than TIME (default: no time-out, except 5s for each answer "
                      "from a server)");
    program
        .addOption(
            "-m,--map", "FILE", m_options.maps,
            "a register map, or a folder of register maps (default: those in RYNVEL_MAPS, or the installed ones)")
        .takeOneValue();
    const auto quiet = program.addFlag("-q,--quiet", m_options.isQuiet,
                                       "print only values, and nothing for a command that returns no value");
    program.addFlag("-j,--json", m_options.isJson, "print JSON, one value per line").excludes(quiet);
    program.addOption("--base", oneOf({"2", "10", "16"}), m_options.base,
                      "the base of printed values (default: 16, and 10 for fields)");
    program.addOption("--color", oneOf(colorChoiceNames()), m_options.color,
                      "color the table of watch (default: auto, only on a terminal and without NO_COLOR)");
    program
        .addOption(
            "--trace", "CHANNEL=LEVEL", m_options.traces,
            "turn on the library's traces up to LEVEL (0 to 7), for one channel or for all channels that match a "
            "pattern")
        .takeOneValue();
}

bool CommandLine::parse(int argc, const char* const* argv) {
    std::for_each(argv + std::min(argc, 1), argv + argc, requireUsable);
    const Common::ParseResult result = m_parser.parse(argc, argv);
    switch (result.kind) {
    case Common::ParseResult::Kind::InfoRequested:
        Output(Format::Text, CommandTimeout(std::nullopt)).write(result.text);
        return false;
    case Common::ParseResult::Kind::Invalid:
        throw usageError(result.text);
    default:
        break;
    }
    if (!m_action) {
        throw usageError("the command is missing ('rynvelctl --help' lists the commands)");
    }
    return true;
}

void CommandLine::run(int argc, const char* const* argv) {
    if (argc > 1 && std::string_view(argv[1]) == "--complete") {
        complete({argv + 2, argv + argc});
        return;
    }
    if (parse(argc, argv)) {
        perform(m_action, CommandContext(m_options));
    }
}

} // namespace Rynvelctl
