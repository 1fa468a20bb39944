// SPDX-License-Identifier: MIT
#include "DevicePeripherals.h"

#include "MapCatalog.h"

namespace Rynveld {

bool DevicePeripherals::add(const std::string& path, const std::vector<std::string>& deviceNames) {
    Maps::MapCatalog catalog({path});
    bool isAnyDescribed = false;
    for (const std::string& name : deviceNames) {
        if (const auto description = catalog.find(name)) {
            isAnyDescribed = true;
            if (m_peripherals.count(name) == 0) {
                Maps::requireByteAddresses(*description);
                m_peripherals.emplace(name, *description->peripheral);
            }
        }
    }
    return isAnyDescribed;
}

const Maps::Peripheral* DevicePeripherals::find(const std::string& deviceName) const {
    const auto found = m_peripherals.find(deviceName);
    return found == m_peripherals.end() ? nullptr : &found->second;
}

} // namespace Rynveld
