/**
 * @file
 * Opens a device so that a program never meets the assertions of the library that end a process when a device file is
 * missing, and tells whether one can be opened.
 */
#ifndef RYNVEL_COMMON_DEVICEPROBE_H
#define RYNVEL_COMMON_DEVICEPROBE_H

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include <rynvel.hpp>

#include "RegisterDevice.h"

namespace Common {

struct Probe {
    /** Why the device cannot be opened, for instance "/dev/idt: Permission denied"; empty when it can. */
    std::string obstacle;
    /** Mapped devices: the bytes of registers that the mapping holds. */
    std::optional<std::uint32_t> mapSize;
};

/**
 * Opens the device file as its backend does, maps it where the backend does, and lets go of it again. A remote device
 * is not probed: its server is asked when the device is opened.
 */
Probe probe(const Rynvel::MemoryDevice& row);

struct OpenedDevice {
    /** Null when there is an obstacle. */
    std::unique_ptr<RegisterDevice> device;
    Probe probe;
};

/**
 * Opens the device of a row for the caller alone. What probe() opens and maps is handed over to the backend, which so
 * has nothing left to do that could fail and end the process.
 */
OpenedDevice openDevice(const Rynvel::MemoryDevice& row);

/** Whether the device file is there, with no attempt to open it. A remote device has none. */
bool isPresent(const Rynvel::MemoryDevice& row);

} // namespace Common

#endif
