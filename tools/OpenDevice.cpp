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

std::unique_ptr<OpenDevice> openDevice(const RegisterRange& range, const CommandTimeout& timeout) {
    auto device = openDevice(range.device(), timeout);
    range.requireInside(device->mapSize());
    return device;
}

} // namespace Rynvelctl
