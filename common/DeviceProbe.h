/**
 * @file
 * Opens a device so that a program never meets the assertions of the library that end a process when a device file is
 * missing.
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
    std::string reason;
    /** Mapped devices: the bytes of registers that the mapping holds. */
    std::optional<std::uint32_t> mapSize;
};

struct OpenedDevice {
    /** Null when there is an reason. */
    std::unique_ptr<RegisterDevice> device;
    Probe probe;
};

/**
 * Opens the device of a row of this machine for the caller alone: opens its file as its backend does, maps it where the
 * backend does, and hands both over to the backend, which so has nothing left to do that could fail and end the
 * process. A remote device has no file: it is not opened.
 */
OpenedDevice openDevice(const Rynvel::MemoryDevice& row);

/** Whether the device file is there, with no attempt to open it. A remote device has none. */
bool deviceFileExists(const Rynvel::MemoryDevice& row);

} // namespace Common

#endif
