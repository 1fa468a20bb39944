/* SPDX-License-Identifier: MIT */
/**
 * @file
 * Opens a device without the assertions by which the library ends the process, for instance if a device file is
 * missing.
 */
#ifndef RYNVEL_COMMON_DEVICEPROBE_H
#define RYNVEL_COMMON_DEVICEPROBE_H

#include <rynvel.hpp>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "RegisterDevice.h"

namespace Common {

struct Probe {
    /** Why the device cannot be opened, for example "/dev/idt: Permission denied"; empty if it can. */
    std::string reason;
    /** The size of the registers in the map, in bytes; empty for devices that are not mapped. */
    std::optional<std::uint32_t> mapSize;
};

struct OpenedDevice {
    /** Null if the device cannot be opened. */
    std::unique_ptr<RegisterDevice> device;
    Probe probe;
};

/**
 * Opens a local device, for the caller alone. Opens the device file, maps it if the device is mapped, and passes both
 * to the backend: no step is left that could fail in the backend and end the process. Does not open remote devices,
 * which have no file.
 */
OpenedDevice openDevice(const Rynvel::MemoryDevice& row);

/** Whether the device file exists. Does not open it. A remote device has no file. */
bool deviceFileExists(const Rynvel::MemoryDevice& row);

} // namespace Common

#endif
