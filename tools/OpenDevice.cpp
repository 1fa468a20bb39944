#include "OpenDevice.h"

#include "LocalDevice.h"
#include "ServedDevice.h"

namespace Rynvelctl {

std::unique_ptr<OpenDevice> openDevice(const Target& target, const CommandTime& time) {
    if (target.server) {
        return std::make_unique<ServedDevice>(target);
    }
    return std::make_unique<LocalDevice>(target, time);
}

std::unique_ptr<OpenDevice> openDevice(const RegisterRange& range, const CommandTime& time) {
    auto device = openDevice(range.device(), time);
    range.requireInside(device->mapSize());
    return device;
}

} // namespace Rynvelctl
