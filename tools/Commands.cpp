// SPDX-License-Identifier: MIT
#include "Commands.h"

#include "Failure.h"
#include "InputFile.h"

namespace Rynvelctl {

void addCommands(const Common::Command& program, Action& chosen) {
    addDeviceCommands(program, chosen);
    addRegisterCommands(program, chosen);
    addSnapshotCommands(program, chosen);
    addMapCommands(program, chosen);
    addInterruptCommands(program, chosen);
    addServerCommands(program, chosen);
    addScriptCommands(program, chosen);
}

void addHints(Common::ArgumentParser& parser) {
    // Other programs that read registers have an option for the width.
    parser.addHint("--width", "the device type selects the register width; --type gives the type of a remote device");
}

void perform(const Action& action, const CommandContext& context) {
    try {
        action(context);
    } catch (const Common::ReadTimedOut& unread) {
        throw context.timeout().failure(unread.name);
    }
}

} // namespace Rynvelctl
