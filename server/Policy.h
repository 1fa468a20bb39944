/* SPDX-License-Identifier: MIT */
/**
 * @file
 * The rules for the requests of clients.
 */
#ifndef RYNVELD_POLICY_H
#define RYNVELD_POLICY_H

#include <cstdint>
#include <set>
#include <string>
#include <vector>

#include "DevicePeripherals.h"
#include "Faults.h"

namespace Rynveld {

struct Policy {
    /** The names of the served devices; empty for all devices. */
    std::set<std::string> devices;
    /**
     * Whether the server refuses every request except those that open or close a device, read its registers or get its
     * interrupt type.
     */
    bool readOnly = false;
    /** The names of the devices for which the server is read-only. */
    std::set<std::string> readOnlyDevices;
    /** The ioctl commands that clients may send to a device. */
    std::set<std::uint32_t> ioctls;
    /** Whether the server serves simulated devices in memory instead of the devices of this machine. */
    bool simulate = false;
    /** The register maps: how simulated registers behave, and which registers the audit must not read. */
    DevicePeripherals descriptions;
    /** The faults to simulate. */
    std::vector<Fault> faults;

    bool serves(const std::string& device) const { return devices.empty() || devices.count(device) != 0; }
    bool isReadOnly(const std::string& device) const { return readOnly || readOnlyDevices.count(device) != 0; }
};

} // namespace Rynveld

#endif
