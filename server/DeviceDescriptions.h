/* SPDX-License-Identifier: MIT */
/**
 * @file
 * What register maps say about devices.
 */
#ifndef RYNVELD_DEVICEDESCRIPTIONS_H
#define RYNVELD_DEVICEDESCRIPTIONS_H

#include <map>
#include <string>
#include <vector>

#include "Model.h"

namespace Rynveld {

/** Peripherals by the names of the devices that they describe. */
class DeviceDescriptions {
public:
    /**
     * Adds the descriptions of devices that a map file or the map files of a folder have. A description that was added
     * earlier stays.
     *
     * @return whether any of the devices is described.
     * @throws Maps::UnusableMap if a file is not a map.
     */
    bool add(const std::string& path, const std::vector<std::string>& deviceNames);

    /** Returns the description of a device; null if there is none. */
    const Maps::Peripheral* find(const std::string& deviceName) const;

private:
    std::map<std::string, Maps::Peripheral> m_peripherals;
};

} // namespace Rynveld

#endif
