/**
 * @file
 * The command line as a whole.
 */
#ifndef RYNVELCTL_COMMANDLINE_H
#define RYNVELCTL_COMMANDLINE_H

#include <CLI/CLI.hpp>

#include "Commands.h"
#include "Session.h"

namespace Rynvelctl {

class CommandLine {
public:
    CommandLine();
    CommandLine(const CommandLine&) = delete;
    CommandLine& operator=(const CommandLine&) = delete;

    /** All that there is to give, for help and the manual page. */
    CLI::App& app() { return m_app; }

    /** Does what the arguments say. @throws Failure, or OutputClosed. */
    void run(int argc, const char* const* argv);

private:
    void addGeneralOptions();
    bool parse(int argc, const char* const* argv);

    CLI::App m_app;
    GeneralOptions m_options;
    Action m_action;
};

} // namespace Rynvelctl

#endif
