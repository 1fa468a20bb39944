/* SPDX-License-Identifier: MIT */
/**
 * @file
 * The devices that the commands of a process use.
 */
#ifndef RYNVELCTL_DEVICECACHE_H
#define RYNVELCTL_DEVICECACHE_H

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "MapSearch.h"
#include "OpenDevice.h"
#include "RegisterMap.h"
#include "Target.h"

namespace Rynvelctl {

/**
 * Finds and describes each device only once, and keeps it open. The devices and descriptions exist as long as this
 * object does.
 */
class DeviceCache {
public:
    /** Returns the device with this name; null if it has not been added. */
    const Target* find(const std::string& name) const;

    const Target& add(const Target& target) { return deviceOf(target).target; }

    /** Opens a device, unless it is open and usable. @throws Failure if the device cannot be opened. */
    std::shared_ptr<OpenDevice> open(const Target& target, const CommandTimeout& timeout);

    /**
     * Returns the description of a device; null if no register map describes the device.
     *
     * @throws Maps::UnusableMap if a register map cannot be used.
     */
    const RegisterMap* registerMap(const Target& target, Maps::MapSearch& maps);

private:
    struct Device {
        explicit Device(Target aTarget) : target(std::move(aTarget)) {}

        Target target;
        std::shared_ptr<OpenDevice> opened;
        bool hasSearchedMaps = false;
        std::optional<RegisterMap> map;
    };

    Device& deviceOf(const Target& target) { return m_devices.try_emplace(target.name(), target).first->second; }

    /** A std::map, because the addresses of its elements do not change. */
    std::map<std::string, Device> m_devices;
};

} // namespace Rynvelctl

#endif
