/**
 * @file
 * Mapped registers and interrupts of a device of the kernel's userspace I/O framework (UIO).
 */
#ifndef RYNVEL_UIO_H
#define RYNVEL_UIO_H

#include <cstdint>
#include <memory>
#include <string>

#include "rynvel/Export.h"
#include "rynvel/IMutex.h"
#include "rynvel/Mmap.h"

class ZilTrace;
struct ZilTraceHeader;

namespace Rynvel {

/**
 * A UIO device, for `T` = `std::uint16_t` and `std::uint32_t`: the registers of Mmap, and the interrupt protocol of UIO
 * on the same descriptor.
 *
 * The device file's path must be a symbolic link whose text is the bare name of the UIO device in sysfs, such as
 * "uio3". Offset and size of the mapping are those of the device's map 0 there.
 *
 * No interrupt operation takes the mutex, so that one thread may wait for interrupts while others use the registers.
 * Only one thread should wait on a device at a time.
 *
 * A program that waits with poll() or epoll on getNativeHandle() enables the interrupt first, polls, and then calls
 * waitForInterrupt(), which finds the interrupt there and returns at once.
 *
 * Entries are traced at level 6 on the channel "Rynvel.Uio".
 */
template <typename T>
class RYNVEL_EXPORT Uio : public Mmap<T> {
public:
    /**
     * Looks up the device's map in sysfs, then opens and maps the device as Mmap does, with what it fails with. A
     * lookup that fails gives 0; a size of 0 leaves an object without a mapping.
     *
     * @param physicalDevName the device file's path.
     * @param mutex serialises the register operations; owned from now on.
     * @param fake as for Mmap.
     * @throws std::invalid_argument when an attribute in sysfs is no number, std::out_of_range when it does not fit in
     *         an unsigned long.
     */
    Uio(const std::string& physicalDevName, std::unique_ptr<IMutex> mutex, bool fake);

    ~Uio() override;

    /**
     * The value of an attribute of map 0 of the device; 0 when it cannot be read. Decimal, octal after "0" and
     * hexadecimal after "0x". `errno` is that of the last system call that failed.
     *
     * @param devicePath the device file's path.
     * @param dataName the attribute: "offset", "size", "addr" or "name".
     * @throws as the constructor.
     */
    static unsigned long getMapData(const std::string& devicePath, const std::string& dataName);

    /** Stores 4 in `*type`. A null pointer ends the process by an assertion, in every build type. */
    bool getInterruptType(unsigned long* type) override;

    /** Writes a 32-bit 1 to the device. A failure is traced at level 7. */
    bool enableInterrupt() override;

    /** Writes a 32-bit 0 to the device. A failure is traced at level 1. */
    bool disableInterrupt() override;

    /**
     * Enables the interrupt, then blocks until the kernel reports one that was not yet received.
     *
     * @param status receives the device's interrupt count since it was registered, 32 bits; 0 when the wait fails; left
     *        alone when the interrupt cannot be enabled.
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
