// SPDX-License-Identifier: MIT
#include "Commands.h"

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

} // namespace Rynvelctl
