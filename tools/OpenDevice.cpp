// SPDX-License-Identifier: MIT
#include "OpenDevice.h"

#include "OpenLocalDevice.h"
#include "OpenRemoteDevice.h"

namespace Rynvelctl {

std::unique_ptr<OpenDevice> openDevice(const Target& target, const CommandTimeout& timeout) {
    if (target.server) {
        return std::make_unique<OpenRemoteDevice>(target);
    }
    return std::make_unique<OpenLocalDevice>(target, timeout);
}

} // namespace Rynvelctl
