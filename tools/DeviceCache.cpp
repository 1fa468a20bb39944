// SPDX-License-Identifier: MIT
#include "DeviceCache.h"

namespace Rynvelctl {

const Target* DeviceCache::find(const std::string& name) const {
    const auto found = m_devices.find(name);
    return found == m_devices.end() ? nullptr : &found->second.target;
}

std::shared_ptr<OpenDevice> DeviceCache::open(const Target& target, const CommandTimeout& timeout) {
    Device& device = deviceOf(target);
    if (device.opened == nullptr || !device.opened->isUsable()) {
        device.opened = openDevice(device.target, timeout);
    }
    return device.opened;
}

const RegisterMap* DeviceCache::registerMap(const Target& target, Maps::MapSearch& maps) {
    Device& device = deviceOf(target);
    if (!device.hasSearchedMaps) {
        if (const auto description = maps.catalog().find(target.name())) {
            device.map.emplace(device.target, *description);
        }
        device.hasSearchedMaps = true;
    }
    return device.map ? &*device.map : nullptr;
}

} // namespace Rynvelctl
