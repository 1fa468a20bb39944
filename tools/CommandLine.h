/* SPDX-License-Identifier: MIT */
/**
 * @file
 * The command line of the program.
 */
#ifndef RYNVELCTL_COMMANDLINE_H
#define RYNVELCTL_COMMANDLINE_H

#include <string>
#include <vector>

#include "ArgumentParser.h"
#include "CommandContext.h"
#include "Commands.h"

namespace Rynvelctl {

class CommandLine {
public:
    CommandLine();
    /** Adds only the commands that these arguments name. You can then pass only these arguments to run(). */
    CommandLine(int argc, const char* const* argv);
    CommandLine(const CommandLine&) = delete;
    CommandLine& operator=(const CommandLine&) = delete;

    /** Returns the options and commands of the program. */
    Common::CommandDescription describe() const { return m_parser.describe(); }

    /**
     * Selects the command that the arguments name. If they ask for the help or the version, prints that text instead.
     *
     * @return whether there is a command to run.
     * @throws Failure or OutputClosed.
     */
    bool parse(int argc, const char* const* argv);

    /**
     * Runs the command that the arguments name. For `--complete`, prints completions instead.
     *
     * @throws Failure or OutputClosed.
     */
    void run(int argc, const char* const* argv);

private:
    void addAll();
    void addGlobalOptions(const Common::Command& program);

    Common::ArgumentParser m_parser;
    GlobalOptions m_options;
    Action m_action;
};

} // namespace Rynvelctl

#endif
