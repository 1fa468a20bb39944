/**
 * @file
 * What the server lets its clients do.
 */
#ifndef RYNVELD_POLICY_H
#define RYNVELD_POLICY_H

#include <cstdint>
#include <set>
#include <string>
#include <vector>

#include "Faults.h"

namespace Rynveld {

struct Policy {
    /** The names that are served; all devices when it is empty. */
    std::set<std::string> devices;
    /** Refuses everything that changes a device, the enabling of its interrupts included. */
    bool readOnly = false;
    /** The ioctl commands that are passed on to a device. */
    std::set<std::uint32_t> ioctls;
    /** Serves devices in memory instead of those of this machine. */
    bool simulate = false;
    std::vector<Fault> faults;
};

} // namespace Rynveld

#endif
