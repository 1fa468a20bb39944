/* SPDX-License-Identifier: MIT */
/**
 * @file
 * What the clients of the server may do.
 */
#ifndef RYNVELD_POLICY_H
#define RYNVELD_POLICY_H

#include <cstdint>
#include <set>
#include <string>
#include <vector>

#include "DeviceDescriptions.h"
#include "Faults.h"

namespace Rynveld {

struct Policy {
    /** The names of the served devices; if it is empty, all. */
    std::set<std::string> devices;
    /** Refuses every request that changes a device or enables its interrupts. */
    bool readOnly = false;
    /** The ioctl commands that clients may send to a device. */
    std::set<std::uint32_t> ioctls;
    /** Serves simulated devices in memory instead of the devices of this machine. */
    bool simulate = false;
    /** How the registers of simulated devices behave. */
    DeviceDescriptions descriptions;
    std::vector<Fault> faults;
};

} // namespace Rynveld

#endif
