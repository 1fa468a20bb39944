/* SPDX-License-Identifier: MIT */
/**
 * @file
 * The descriptions of devices in register maps.
 */
#ifndef RYNVELD_DEVICEPERIPHERALS_H
#define RYNVELD_DEVICEPERIPHERALS_H

#include <map>
#include <string>
#include <vector>

#include "Model.h"

namespace Rynveld {

/** For each device name, the peripheral that describes the device. */
class DevicePeripherals {
public:
    /**
     * Adds the descriptions of devices from a map file, or from the map files of a folder. Keeps a description that was
     * added earlier.
     *
     * @return whether any of the devices is described.
     * @throws Maps::UnusableMap if the path cannot be read, if a file is not a map, or if the addresses of a map that
     * describes a device do not count bytes.
     */
    bool add(const std::string& path, const std::vector<std::string>& deviceNames);

    /** Returns the description of a device; null if there is none. */
    const Maps::Peripheral* find(const std::string& deviceName) const;

private:
    std::map<std::string, Maps::Peripheral> m_peripherals;
};

} // namespace Rynveld

#endif
