/**
 * @file
 * The commands, in groups. Each adds itself to the command line, and makes itself the chosen action when it is given.
 */
#ifndef RYNVELCTL_COMMANDS_H
#define RYNVELCTL_COMMANDS_H

#include <functional>
#include <memory>

#include <CLI/CLI.hpp>

#include "Session.h"

namespace Rynvelctl {

using Action = std::function<void(const Session&)>;

void addDeviceCommands(CLI::App& app, Action& chosen);
void addRegisterCommands(CLI::App& app, Action& chosen);
void addInterruptCommands(CLI::App& app, Action& chosen);
void addServerCommands(CLI::App& app, Action& chosen);

/** Adds a command that runs on options of its own. @return the command, to add those options to. */
template <typename Options>
CLI::App& addCommand(CLI::App& app, Action& chosen, const char* name, const char* summary,
                     const std::shared_ptr<Options>& options, void (*run)(const Session&, const Options&)) {
    CLI::App* const command = app.add_subcommand(name, summary);
    command->callback(
        [&chosen, options, run] { chosen = [options, run](const Session& session) { run(session, *options); }; });
    return *command;
}

/** Adds an argument that must be there. */
template <typename Value>
void addArgument(CLI::App& command, const char* name, Value& value, const char* description) {
    command.add_option(name, value, description)->required()->type_name("");
}

} // namespace Rynvelctl

#endif
