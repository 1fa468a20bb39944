/**
 * @file
 * Registers reached through a memory mapping of their device file.
 */
#ifndef RYNVEL_MMAP_H
#define RYNVEL_MMAP_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include "rynvel/Device.h"
#include "rynvel/Export.h"
#include "rynvel/IMutex.h"
#include "rynvel/LinuxIo.h"

class ZilTrace;

namespace Rynvel {

/**
 * A device whose registers are mapped into the process, for `T` = `std::uint16_t` and `std::uint32_t`.
 *
 * A register address is an index counted in units of `T`: register i is the bytes from `devPageOffset + i * sizeof(T)`
 * on within the mapping. Nothing checks it against the size of the mapping: an index beyond it touches other memory or
 * ends the process by a signal.
 *
 * Every access is one load or store of exactly the register's width, made in the order given, without a system call,
 * under the object's mutex. An operation fails only on an object without a mapping.
 *
 * There are no interrupts here: the four interrupt operations answer `false` and touch nothing. Derived classes add
 * them.
 *
 * Construction and destruction are traced at level 6, details at level 5, operations at level 7, on the channel
 * "Rynvel.Mmap".
 */
template <typename T>
class RYNVEL_EXPORT Mmap : public Device<T> {
public:
    /**
     * Opens the device file for reading and writing and maps it from its beginning.
     *
     * A file that cannot be opened leaves an object without a mapping, on which every register operation answers
     * `false`; so does a `devSize` of 0. A mapping that fails ends the process: the cause is traced at level 1, then
     * the assertion `m_regMap != MAP_FAILED` fails, in every build type.
     *
     * @param physicalDevName the device file's path.
     * @param devPageOffset byte offset of the first register within the mapping.
     * @param devSize bytes to map.
     * @param mutex serialises the register operations; owned from now on.
     * @param fake maps anonymous memory of that size in place of the device file, which is not opened.
     */
    Mmap(const std::string& physicalDevName, std::size_t devPageOffset, std::size_t devSize,
         std::unique_ptr<IMutex> mutex, bool fake);

    /**
     * Unmaps `devSize` bytes at the first register and closes the file. A `devPageOffset` that is not a multiple of the
     * page size makes the unmapping fail without notice: the mapping then stays until the process ends.
     */
    ~Mmap() override;

    /** The system call's result, unchanged; -1 without a system call when there is no file. The mutex is not taken. */
    int ioctl(int command, unsigned long arg) override;

    bool getInterruptType(unsigned long* type) override;
    bool enableInterrupt() override;
    bool disableInterrupt() override;
    bool waitForInterrupt(unsigned long* info) override;

    /** The descriptor of the device file; -1 when there is none. */
    int getNativeHandle() const override;

    /** Stores 0 in `*data` when there is no mapping. */
    bool read(unsigned int offset, T* data) override;
    bool read(unsigned int offset, T* data, unsigned int items, ByteOrder byteOrder) override;
    bool write(unsigned int offset, T data) override;

    /** Reads the register for every `bitmask`, all ones included. */
    bool write(unsigned int offset, T data, T bitmask) override;
    bool write(unsigned int offset, const T* data, unsigned int items, ByteOrder byteOrder) override;

protected:
    LinuxIo m_linuxIo;
    std::uint32_t m_devPageOffset;
    std::uint32_t m_devSize;
    int m_fd = -1;
    T* m_regMap;
    std::unique_ptr<IMutex> m_mutex;
    bool m_fake;

private:
    RYNVEL_LOCAL bool isMapped() const;
    RYNVEL_LOCAL volatile T* registers(unsigned int offset) const;

    RYNVEL_LOCAL static ZilTrace m_trace;
};

extern template class Mmap<std::uint16_t>;
extern template class Mmap<std::uint32_t>;

} // namespace Rynvel

#endif
