/* SPDX-License-Identifier: MIT */
/**
 * @file
 * Takes snapshots of devices.
 */
#ifndef RYNVELCTL_DEVICESNAPSHOT_H
#define RYNVELCTL_DEVICESNAPSHOT_H

#include <string>
#include <vector>

#include "OpenDevice.h"
#include "RegisterMap.h"
#include "Snapshot.h"

namespace Rynvelctl {

/** Whether a snapshot contains the registers that have a side effect when they are read. */
enum class SideEffects { LeftOut, Included };

struct DeviceSnapshot {
    Snapshot snapshot;
    /** The registers that the snapshot does not hold because reading has a side effect. */
    std::vector<std::string> withSideEffects;
    /** An error message for each of the registers that the device cannot access, or that have the name of another. */
    std::vector<std::string> obstacles;
};

/** Reads all readable registers of a device. @throws Failure if one of them cannot be read. */
DeviceSnapshot takeSnapshot(const RegisterMap& map, OpenDevice& device, SideEffects sideEffects);

} // namespace Rynvelctl

#endif
