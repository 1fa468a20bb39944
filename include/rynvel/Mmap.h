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
 * checks the index against the size of the map. An operation with an index beyond the map accesses other memory, or
 * ends the process with a signal.
 *
 * Every register access is one load or store of the register width, without a system call. A burst accesses the
 * registers in ascending order. An operation holds the mutex from its first access to its last access. Register
 * operations fail only if the object has no map.
 *
 * The device has no interrupts: the four interrupt functions return `false` and leave their arguments unchanged.
 * Derived classes add interrupts.
 *
 * The class traces construction and destruction at level 6, their details at level 5, and operations at level 7, on the
 * channel "Rynvel.Mmap".
 */
template <typename T>
class RYNVEL_EXPORT Mmap : public Device<T> {
public:
    /**
     * Opens the device file for reading and writing, and maps the file from its beginning.
     *
     * If the file cannot be opened, the constructor traces the cause at level 2, and the object has no map. If
     * `devSize` is 0, the object has no map either. Without a map, every register operation returns `false`. If the
     * file cannot be mapped, the constructor traces the cause at level 1, and the assertion `m_regMap != MAP_FAILED`
     * ends the process in every build type.
     *
     * @param physicalDevName the path of the device file.
     * @param devPageOffset the byte offset of the first register in the map.
     * @param devSize the size of the map in bytes.
     * @param mutex the mutex that serializes the register operations. The object takes ownership.
     * @param fake if `true`, the object maps anonymous memory of `devSize` bytes, and does not open the device file.
     */
    Mmap(const std::string& physicalDevName, std::size_t devPageOffset, std::size_t devSize,
         std::unique_ptr<IMutex> mutex, bool fake);

    /**
     * Closes the device file, and unmaps `devSize` bytes, starting at the first register instead of the beginning of
     * the map. If `devPageOffset` is not a multiple of the page size, the unmapping silently fails, and the map exists
     * until the process ends. If `devPageOffset` is one or more whole pages, the same number of pages at the beginning
     * of the map stay mapped, and the same number of pages after the map are unmapped.
     */
    ~Mmap() override;

    /** Does not lock the mutex. @return the result of the system call; -1 without a system call if no file is open. */
    int ioctl(int command, unsigned long arg) override;

    bool getInterruptType(unsigned long* type) override;
    bool enableInterrupt() override;
    bool disableInterrupt() override;
    bool waitForInterrupt(unsigned long* info) override;

    /** Returns the descriptor of the device file; -1 if no file is open. */
    int getNativeHandle() const override;

    /** Stores 0 in `*data` if the object has no map. */
    bool read(unsigned int offset, T* data) override;
    bool read(unsigned int offset, T* data, unsigned int items, ByteOrder byteOrder) override;
    bool write(unsigned int offset, T data) override;

    /** Reads the register first, even if all bits are set in `bitmask`. */
    bool write(unsigned int offset, T data, T bitmask) override;
    bool write(unsigned int offset, const T* data, unsigned int items, ByteOrder byteOrder) override;

protected:
    /** The system calls of the object. */
    LinuxIo m_linuxIo;
    /** The byte offset of the first register in the map. */
    std::uint32_t m_devPageOffset;
    /** The size of the map in bytes. */
    std::uint32_t m_devSize;
    /** The descriptor of the device file; -1 if no file is open. */
    int m_fd = -1;
    /** The first register in the map; MAP_FAILED if the object has no map. */
    T* m_regMap;
    /** The mutex that serializes the register operations. */
    std::unique_ptr<IMutex> m_mutex;
    /** Whether the map is anonymous memory instead of the device file. */
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
