// SPDX-License-Identifier: MIT
#include "RegisterOptions.h"

namespace Rynvelctl {

void addRegister(const Common::Command& command, RegisterOptions& options, const std::string& address) {
    command.addArgument("NAME", options.name, "the device");
    command.addArgument("ADDRESS", options.address, address);
}

void addIndexOption(const Common::Command& command, RegisterOptions& options) {
    command.addFlag("--index", options.usesIndex, "addresses are register indexes instead of byte addresses");
}

void addSideEffectsOption(const Common::Command& command, bool& areIncluded) {
    command.addFlag("--with-side-effects", areIncluded, "also read a register if reading it has a side effect");
}

} // namespace Rynvelctl
