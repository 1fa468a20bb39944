/* SPDX-License-Identifier: MIT */
/**
 * @file
 * Mapped registers and interrupts of a device of the userspace I/O framework (UIO) of the kernel.
 */
#ifndef RYNVEL_UIO_H
#define RYNVEL_UIO_H

#include "rynvel/Export.h"
#include "rynvel/IMutex.h"
#include "rynvel/Mmap.h"

#include <cstdint>
#include <memory>
#include <string>

class ZilTrace;
struct ZilTraceHeader;

namespace Rynvel {

/**
 * A UIO device, for `T` = `std::uint16_t` and `std::uint32_t`. The class has the registers of Mmap, and uses the
 * descriptor of Mmap for interrupts.
 *
 * The path of the device file must be a symbolic link whose target is the bare name of the UIO device in sysfs, such as
 * "uio3". The map has the offset and the size of map 0 of this UIO device.
 *
 * No interrupt function locks the mutex: one thread may wait for interrupts while other threads use the registers. Only
 * one thread should wait on a device at a time.
 *
 * To wait with a time-out, call enableInterrupt(), and poll the descriptor that getNativeHandle() returns. When the
 * descriptor is readable, call waitForInterrupt(), which then returns immediately.
 *
 * The class traces construction and interrupt functions at level 6, on the channel "Rynvel.Uio".
 */
template <typename T>
class RYNVEL_EXPORT Uio : public Mmap<T> {
public:
    /**
     * Reads the offset and the size of the map from sysfs, and then opens and maps the device file like the constructor
     * of Mmap. An attribute that cannot be read counts as 0. If the size is 0, the object has no map.
     *
     * @param physicalDevName the path of the device file.
     * @param mutex the mutex that serializes the register operations. The object takes ownership.
     * @param fake if `true`, the object maps anonymous memory, and does not open the device file.
     * @throws std::invalid_argument if an attribute in sysfs is not a number; std::out_of_range if the number does not
     *         fit in an `unsigned long`.
     */
    Uio(const std::string& physicalDevName, std::unique_ptr<IMutex> mutex, bool fake);

    ~Uio() override;

    /**
     * Returns the number in an attribute of map 0 of the device; 0 if the attribute cannot be read. The number is
     * decimal, octal with the prefix "0", or hexadecimal with the prefix "0x". If a system call fails, `errno` is that
     * of the last failed call.
     *
     * @param devicePath the path of the device file.
     * @param dataName the name of the attribute, such as "offset" or "size".
     * @throws the same exceptions as the constructor.
     */
    static unsigned long getMapData(const std::string& devicePath, const std::string& dataName);

    /** Stores 4 in `*type`. A null pointer fails an assertion, which ends the process in every build type. */
    bool getInterruptType(unsigned long* type) override;

    /** Enables the interrupt: writes the 32-bit number 1 to the device file. Traces a failure at level 7. */
    bool enableInterrupt() override;

    /** Disables the interrupt: writes the 32-bit number 0 to the device file. Traces a failure at level 1. */
    bool disableInterrupt() override;

    /**
     * Enables the interrupt, and then blocks until the kernel reports an interrupt that was not received before. Then
     * stores in `*status` the 32-bit number of interrupts since the device was registered with the kernel. Stores 0 if
     * the wait fails. Leaves `*status` unchanged if the interrupt cannot be enabled.
     */
    bool waitForInterrupt(unsigned long* status) override;

private:
    RYNVEL_LOCAL static bool readUioName(const std::string& devicePath, char* uioName, const ZilTraceHeader& caller);
    RYNVEL_LOCAL static bool formatDataPath(const std::string& devicePath, const char* uioName,
                                            const std::string& dataName, char* dataPath, const ZilTraceHeader& caller);
    RYNVEL_LOCAL static unsigned long readAttribute(const char* dataPath, const ZilTraceHeader& caller);
    RYNVEL_LOCAL bool control(std::int32_t state, int failureLevel, const ZilTraceHeader& caller);

    RYNVEL_LOCAL static ZilTrace m_trace;
};

extern template class Uio<std::uint16_t>;
extern template class Uio<std::uint32_t>;

} // namespace Rynvel

#endif
