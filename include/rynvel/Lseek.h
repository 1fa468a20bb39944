/* SPDX-License-Identifier: MIT */
/**
 * @file
 * Registers of a device file that the library seeks, reads and writes.
 */
#ifndef RYNVEL_LSEEK_H
#define RYNVEL_LSEEK_H

#include "rynvel/Device.h"
#include "rynvel/Export.h"
#include "rynvel/IMutex.h"
#include "rynvel/LinuxIo.h"

#include <cstdint>
#include <memory>
#include <string>

class ZilTrace;

namespace Rynvel {

/**
 * A seekable device, for `T` = `std::uint8_t`, `std::uint16_t` and `std::uint32_t`. A register address is a byte offset
 * in the device file.
 *
 * Every register operation holds the mutex from the seek to the last transfer. A single read or write returns `false`
 * if the seek or the transfer fails, or if the transfer is short. If a system call has failed, `errno` is that of the
 * call. After a failure, you can still use the object. The class does not check addresses: the driver decides where the
 * file ends. On a 32-bit machine, an address of 0x80000000 or above is a negative file offset, which the system
 * refuses.
 *
 * The device has no interrupts: the four interrupt functions return `false`, leave their arguments unchanged and trace
 * nothing.
 *
 * The class traces construction, destruction, ioctl requests and register operations at level 6, on the channel
 * "Rynvel.Lseek".
 */
template <typename T>
class RYNVEL_EXPORT Lseek : public Device<T> {
public:
    /**
     * Opens the device file for reading and writing. If the file cannot be opened, the constructor traces the cause at
     * level 2, and the assertion `m_fd != -1` ends the process in every build type.
     *
     * @param physicalDevName the path of the device file.
     * @param mutex the mutex that serializes the register operations. The object takes ownership.
     */
    Lseek(const std::string& physicalDevName, std::unique_ptr<IMutex> mutex);

    /** Closes the device file. */
    ~Lseek() override;

    /** Does not lock the mutex. @return the result of the system call. */
    int ioctl(int command, unsigned long arg) override;

    bool getInterruptType(unsigned long* type) override;
    bool enableInterrupt() override;
    bool disableInterrupt() override;
    bool waitForInterrupt(unsigned long* info) override;

    /** Returns the descriptor of the device file. */
    int getNativeHandle() const override;

    bool read(unsigned int address, T* data) override;

    /**
     * In Host order, reads the whole burst with one system call. In Network order, reads each item with a separate
     * system call.
     *
     * @return whether the number of bytes transferred equals `items`. For `std::uint16_t` and `std::uint32_t`, a
     *         complete burst of one or more items therefore returns `false`, although all items are transferred.
     */
    bool read(unsigned int address, T* data, unsigned int items, ByteOrder byteOrder) override;

    bool write(unsigned int address, T data) override;

    /** Reads the register first, unless all bits are set in `bitmask`. Writes nothing if the read fails. */
    bool write(unsigned int address, T data, T bitmask) override;

    /** Divides the burst into system calls, and determines the result, in the same way as the burst read. */
    bool write(unsigned int address, const T* data, unsigned int items, ByteOrder byteOrder) override;

protected:
    /** The system calls of the object. */
    LinuxIo m_linuxIo;
    /** The descriptor of the device file. */
    int m_fd = -1;

private:
    RYNVEL_LOCAL bool seek(unsigned int address);
    RYNVEL_LOCAL bool readNext(T* data);
    RYNVEL_LOCAL bool writeNext(T data);
    RYNVEL_LOCAL std::int64_t readReversed(T* data, unsigned int items);
    RYNVEL_LOCAL std::int64_t writeReversed(const T* data, unsigned int items);

    std::unique_ptr<IMutex> m_mutex;
    RYNVEL_LOCAL static ZilTrace m_trace;
};

extern template class Lseek<std::uint8_t>;
extern template class Lseek<std::uint16_t>;
extern template class Lseek<std::uint32_t>;

} // namespace Rynvel

#endif
