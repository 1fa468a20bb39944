/**
 * @file
 * The commands, in groups. Each adds itself to the command line, and makes itself the chosen action when it is given.
 */
#ifndef RYNVELCTL_COMMANDS_H
#define RYNVELCTL_COMMANDS_H

#include <functional>
#include <memory>

#include "ArgumentParser.h"
#include "Session.h"

namespace Rynvelctl {

using Action = std::function<void(const Session&)>;

void addDeviceCommands(const Common::Command& program, Action& chosen);
void addRegisterCommands(const Common::Command& program, Action& chosen);
void addInterruptCommands(const Common::Command& program, Action& chosen);
void addServerCommands(const Common::Command& program, Action& chosen);

/** Adds a command that runs on options of its own. @return the command, to add those options to. */
template <typename Options>
Common::Command addCommand(const Common::Command& program, Action& chosen, const char* name, const char* summary,
                           const std::shared_ptr<Options>& options, void (*run)(const Session&, const Options&)) {
    return program.addCommand(name, summary, [&chosen, options, run] {
        chosen = [options, run](const Session& session) { run(session, *options); };
    });
}

} // namespace Rynvelctl

#endif
