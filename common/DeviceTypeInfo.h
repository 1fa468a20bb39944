/**
 * @file
 * What the programs beside the library know of each kind of backend.
 */
#ifndef RYNVEL_COMMON_DEVICETYPEINFO_H
#define RYNVEL_COMMON_DEVICETYPEINFO_H

#include <rynvel.hpp>

namespace Common {

/** What a backend reaches its registers through. */
enum class Access { Seekable, Mapped, Spi, Remote };

struct DeviceTypeInfo {
    /** As in a device description file, for instance "Uio32". */
    const char* name;
    Access access;
    /** Bits of a register: 8, 16 or 32. */
    unsigned int width;
    bool hasInterrupts;
    /** Whether waiting for an interrupt enables it first. */
    bool waitEnablesInterrupt;
    /** Bytes from one register to the next, in addresses of the device: 1 where an address is a register index. */
    unsigned int addressStride;
};

/** The kind of a device type; null for a value that names none. */
const DeviceTypeInfo* findDeviceTypeInfo(Rynvel::DeviceType type);

} // namespace Common

#endif
