/* SPDX-License-Identifier: MIT */
/**
 * @file
 * Registers of a device file that is mapped into memory.
 */
#ifndef RYNVEL_MMAP_H
#define RYNVEL_MMAP_H

#include "rynvel/Device.h"
#include "rynvel/Export.h"
#include "rynvel/IMutex.h"
#include "rynvel/LinuxIo.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

class ZilTrace;

namespace Rynvel {

/**
 * A mapped device, for `T` = `std::uint16_t` and `std::uint32_t`.
 *
 * A register address is an index: register i begins at byte `devPageOffset + i * sizeof(T)` of the map. No function
 * checks the index against the size of the map. An index beyond the map accesses other memory, or ends the process by a
 * signal.
 *
 * Every access is one load or store of the register's width, without a system call. A burst accesses the registers in
 * ascending order. An operation holds the mutex from its first access to its last. It fails only on an object without a
 * map.
 *
 * The device has no interrupts: the four interrupt functions return `false` and leave their arguments unchanged.
 * Derived classes add interrupts.
 *
 * Construction and destruction are traced at level 6, details at level 5, operations at level 7, on the channel
 * "Rynvel.Mmap".
 */
template <typename T>
class RYNVEL_EXPORT Mmap : public Device<T> {
public:
    /**
     * Opens the device file for reading and writing, and maps it from its beginning.
     *
     * If the file cannot be opened, or `devSize` is 0, the object has no map, and every register operation returns
     * `false`. If the file cannot be mapped, the cause is traced at level 1, and the assertion
     * `m_regMap != MAP_FAILED` ends the process, in every build type.
     *
     * @param physicalDevName the path of the device file.
     * @param devPageOffset the byte offset of the first register in the map.
     * @param devSize the size of the map in bytes.
     * @param mutex serialises the register operations; the object takes ownership.
     * @param fake maps anonymous memory of this size and does not open the device file.
     */
    Mmap(const std::string& physicalDevName, std::size_t devPageOffset, std::size_t devSize,
         std::unique_ptr<IMutex> mutex, bool fake);

    /**
     * Unmaps `devSize` bytes, starting at the first register instead of the beginning of the map, and closes the file.
     * If `devPageOffset` is not a multiple of the page size, unmapping silently fails, and the map stays until the
     * process ends. If it is a number of whole pages, as many pages behind the map are unmapped.
     */
    ~Mmap() override;

    /** @return the result of the system call; -1 without a system call if no file is open. Does not lock the mutex. */
    int ioctl(int command, unsigned long arg) override;

    bool getInterruptType(unsigned long* type) override;
    bool enableInterrupt() override;
    bool disableInterrupt() override;
    bool waitForInterrupt(unsigned long* info) override;

    /** Returns the descriptor of the device file; -1 if no file is open. */
    int getNativeHandle() const override;

    /** Stores 0 in `*data` if there is no map. */
    bool read(unsigned int offset, T* data) override;
    bool read(unsigned int offset, T* data, unsigned int items, ByteOrder byteOrder) override;
    bool write(unsigned int offset, T data) override;

    /** Reads the register first, even if all bits are set in `bitmask`. */
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
