// SPDX-License-Identifier: MIT
#include "RegisterOptions.h"

#include "Completion.h"
#include "Failure.h"

namespace Rynvelctl {

void addRegister(const Common::Command& command, RegisterOptions& options, const std::string& address) {
    command.addArgument("NAME", options.name, "the device");
    command.addArgument("ADDRESS", options.address, address);
}

void addFirstRegister(const Common::Command& command, RegisterOptions& options) {
    addRegister(command, options, "the byte address or the name of the first register");
}

void addOrderOption(const Common::Command& command, std::string& order) {
    command.addOption("--order", oneOf({hostOrder, networkOrder}), order,
                      "the byte order of each value (default: host)");
}

Rynvel::ByteOrder parseOrder(const std::string& text) {
    if (text != hostOrder && text != networkOrder) {
        throw usageError("--order: '" + text + "' is not a byte order (host or network)");
    }
    return text == networkOrder ? Rynvel::ByteOrder::Network : Rynvel::ByteOrder::Host;
}

std::string orderName(Rynvel::ByteOrder order) {
    return order == Rynvel::ByteOrder::Network ? networkOrder : hostOrder;
}

void addIndexOption(const Common::Command& command, DeviceOptions& options) {
    command.addFlag("--index", options.usesIndex, "addresses are register indexes instead of byte addresses");
}

void addSideEffectsOption(const Common::Command& command, bool& areIncluded) {
    command.addFlag("--with-side-effects", areIncluded, "also read a register if reading it has a side effect");
}

} // namespace Rynvelctl
