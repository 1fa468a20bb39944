/* SPDX-License-Identifier: MIT */
/**
 * @file
 * The properties of the device types that the programs need.
 */
#ifndef RYNVEL_COMMON_DEVICETYPEINFO_H
#define RYNVEL_COMMON_DEVICETYPEINFO_H

#include <rynvel.hpp>

namespace Common {

/** How a backend reaches its registers. */
enum class AccessMethod { Seekable, Mapped, Spi, Remote };

struct DeviceTypeInfo {
    /** The name in a device description file, for example "Uio32". */
    const char* name;
    AccessMethod access;
    /** The register width in bits: 8, 16 or 32. */
    unsigned int width;
    bool hasInterrupts;
    /** Whether waitForInterrupt() enables the interrupt before it waits. */
    bool waitEnablesInterrupt;
    /** The difference between the addresses of adjacent registers; 1 if the address is a register index. */
    unsigned int addressStride;
};

/** Returns the properties of a device type; null for a value that is not a device type. */
const DeviceTypeInfo* findDeviceTypeInfo(Rynvel::DeviceType type);

} // namespace Common

#endif
