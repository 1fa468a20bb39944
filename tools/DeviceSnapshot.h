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

/** Whether a snapshot contains the registers whose reads have side effects. */
enum class SideEffects { LeftOut, Included };

struct DeviceSnapshot {
    Snapshot snapshot;
    /** The registers that the snapshot leaves out because reading them has a side effect. */
    std::vector<std::string> withSideEffects;
    /**
     * An error message for each register that the snapshot leaves out for another reason. A write-only register has a
     * message only if the device cannot access it.
     */
    std::vector<std::string> obstacles;
};

/** Reads the registers of a device that belong in a snapshot. @throws Failure if reading one of them fails. */
DeviceSnapshot takeSnapshot(const RegisterMap& map, OpenDevice& device, SideEffects sideEffects);

} // namespace Rynvelctl

#endif
