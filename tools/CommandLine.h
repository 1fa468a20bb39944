/**
 * @file
 * The command line as a whole.
 */
#ifndef RYNVELCTL_COMMANDLINE_H
#define RYNVELCTL_COMMANDLINE_H

#include <string>
#include <vector>

#include "ArgumentParser.h"
#include "Commands.h"
#include "Session.h"

namespace Rynvelctl {

class CommandLine {
public:
    CommandLine();
    CommandLine(const CommandLine&) = delete;
    CommandLine& operator=(const CommandLine&) = delete;

    /** All that there is to give. */
    Common::CommandDescription describe() const { return m_parser.describe(); }

    /** Does what the arguments say. @throws Failure, or OutputClosed. */
    void run(int argc, const char* const* argv);

private:
    void addGeneralOptions(const Common::Command& program);
    bool parse(int argc, const char* const* argv);
    void complete(const std::vector<std::string>& words) const;

    Common::ArgumentParser m_parser;
    GeneralOptions m_options;
    Action m_action;
};

} // namespace Rynvelctl

#endif
