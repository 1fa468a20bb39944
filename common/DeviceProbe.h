/* SPDX-License-Identifier: MIT */
/**
 * @file
 * Opens a device without the risk that an assertion of the library ends the process, for instance because a device file
 * is missing.
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
    /**
     * The reason why the device cannot be opened, for example "/dev/idt: Permission denied"; empty if it can be opened.
     */
    std::string reason;
    /** The size of the registers in the map, in bytes; empty for a device that is not mapped. */
    std::optional<std::uint32_t> mapSize;
    /** The error number of the system call that has failed; 0 if none has failed. */
    int systemError = 0;
};

struct OpenedDevice {
    /** Null if the device cannot be opened. */
    std::unique_ptr<RegisterDevice> device;
    Probe probe;
};

/**
 * Opens a local device for this caller alone. Opens the files that the backend opens, maps the registers if the device
 * type has a map, and passes the open files and the map to the backend. The backend then has no step left that can fail
 * and end the process. Fails for a remote device, which has no device file.
 */
OpenedDevice openDevice(const Rynvel::MemoryDevice& row);

/** Returns whether the device file exists, without opening it. A remote device has no device file. */
bool deviceFileExists(const Rynvel::MemoryDevice& row);

} // namespace Common

#endif
