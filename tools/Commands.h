/* SPDX-License-Identifier: MIT */
/**
 * @file
 * The commands, in groups. Each function adds commands to the program. If the user gives one of these commands,
 * `chosen` becomes the action that runs the command.
 */
#ifndef RYNVELCTL_COMMANDS_H
#define RYNVELCTL_COMMANDS_H

#include <functional>
#include <memory>
#include <utility>

#include "ArgumentParser.h"
#include "CommandContext.h"

namespace Rynvelctl {

using Action = std::function<void(const CommandContext&)>;

void addDeviceCommands(const Common::Command& program, Action& chosen);
void addRegisterCommands(const Common::Command& program, Action& chosen);
void addBitCommands(const Common::Command& program, Action& chosen);
void addLoadCommand(const Common::Command& program, Action& chosen);
void addPollCommand(const Common::Command& program, Action& chosen);
void addWatchCommand(const Common::Command& program, Action& chosen);
void addWriteCommand(const Common::Command& program, Action& chosen);
void addShowCommand(const Common::Command& program, Action& chosen);
void addMapCommands(const Common::Command& program, Action& chosen);
void addInterruptCommands(const Common::Command& program, Action& chosen);
void addSnapshotCommands(const Common::Command& program, Action& chosen);
void addServerCommands(const Common::Command& program, Action& chosen);
void addScriptCommands(const Common::Command& program, Action& chosen);

/** Adds all commands of the groups above. */
void addCommands(const Common::Command& program, Action& chosen);

/** Adds hints for options that users may expect because other programs have them. */
void addHints(Common::ArgumentParser& parser);

/** Adds the command `run`, which runs other commands. */
void addRunCommand(const Common::Command& program, Action& chosen);

/** Runs a command. @throws Failure of the command, or if the time-out expires before a file has been read. */
void perform(const Action& action, const CommandContext& context);

/** The options of a command without options. */
struct NoOptions {};

/**
 * Adds a command. If the user gives the command, `chosen` becomes an action that calls `run` with the options. The
 * options then have their defaults again, so that the parser can parse another command line.
 *
 * @param options the options, with their default values.
 * @return the command, to which the caller adds the options.
 */
template <typename Options>
Common::Command addCommand(const Common::Command& program, Action& chosen, const char* name, const char* summary,
                           const std::shared_ptr<Options>& options,
                           void (*run)(const CommandContext&, const Options&)) {
    return program.addCommand(name, summary, [&chosen, options, defaults = *options, run] {
        chosen = [given = std::exchange(*options, defaults), run](const CommandContext& context) {
            run(context, given);
        };
    });
}

} // namespace Rynvelctl

#endif
