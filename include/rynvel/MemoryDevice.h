/* SPDX-License-Identifier: MIT */
/**
 * @file
 * A row of the device table.
 */
#ifndef RYNVEL_MEMORYDEVICE_H
#define RYNVEL_MEMORYDEVICE_H

#include <cstdint>
#include <string>

namespace Rynvel {

/** The device types. The name of a type consists of the backend and the register width in bits. */
enum class DeviceType : std::uint32_t {
    Lseek8 = 0,
    Lseek16 = 1,
    Lseek32 = 2,
    Uio16 = 3,
    Uio32 = 4,
    FpgaSpi32 = 5,
    Tyvon16 = 6,
    Tyvon32 = 7,
    TyvonInterrupt16 = 8,
    TyvonInterrupt32 = 9,
    Remote8 = 10,
    Remote16 = 11,
    Remote32 = 12,
};

/**
 * A row of the device table, which describes a device to the Factory. The device table is compiled into the library.
 * You can also define your own row, and pass the row to Factory::createDevice():
 *
 *     const Rynvel::MemoryDevice row{"adc", "/dev/adc", 0, Rynvel::DeviceType::Lseek16};
 *
 * You cannot assign to a row. Moving a row copies the row.
 */
struct MemoryDevice {
    /** The device name, which is case-sensitive. */
    const std::string m_name;
    /** The path of the device file; for a remote device, the address of the server as HOST::PORT. */
    const std::string m_devicePath;
    /**
     * The size of the map in bytes for Tyvon16 and Tyvon32; the block offset in bytes for FpgaSpi32. The other device
     * types ignore the parameter.
     */
    std::uint32_t m_parameter;
    /** The device type, which selects the backend and the register width. */
    DeviceType m_type;
};

} // namespace Rynvel

#endif
