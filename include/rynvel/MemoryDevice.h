/**
 * @file
 * A row of the device table.
 */
#ifndef RYNVEL_MEMORYDEVICE_H
#define RYNVEL_MEMORYDEVICE_H

#include <cstdint>
#include <string>

namespace Rynvel {

/** The kinds of backend, with the register width in the name. */
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
 * What the Factory needs to know to build a device. The library's own rows are compiled in; a program may write a row
 * of its own and give it to Factory::createDevice:
 *
 *     const Rynvel::MemoryDevice row{"adc", "/dev/adc", 0, Rynvel::DeviceType::Lseek16};
 *
 * A row cannot be assigned; moving one copies it.
 */
struct MemoryDevice {
    /** The logical name, compared exactly: case-sensitive, the whole string. */
    const std::string m_name;
    /** The device file's path; for a remote device, the server's address. */
    const std::string m_devicePath;
    /** Tyvon16 and Tyvon32: the mapping size in bytes. FpgaSpi32: the block offset in bytes. Else ignored. */
    std::uint32_t m_parameter;
    DeviceType m_type;
};

} // namespace Rynvel

#endif
