#include "OpenDevice.h"

#include "LocalDevice.h"
#include "ServedDevice.h"

namespace Rynvelctl {

void OpenDevice::requireInside(const Addressing& addressing, const Place& first, std::uint32_t count) const {
    if (const auto size = mapSize()) {
        addressing.requireInside(*size, first, count);
    }
}

std::unique_ptr<OpenDevice> openDevice(const Subject& subject, const CommandTime& time) {
    if (subject.server) {
        return std::make_unique<ServedDevice>(subject);
    }
    return std::make_unique<LocalDevice>(subject, time);
}

std::string accessText(const char* deed, const Addressing& addressing, const Place& place) {
    return deed + (' ' + addressing.text(place));
}

} // namespace Rynvelctl
