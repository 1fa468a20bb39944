/* SPDX-License-Identifier: MIT */
/**
 * @file
 * Registers that are accessed with seek, read and write on a device file.
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
 * A seekable device, for `T` = `std::uint8_t`, `std::uint16_t` and `std::uint32_t`. A register address is the byte
 * offset in the device file.
 *
 * Every register operation holds the mutex from the seek to the last transfer. An operation with a failed or short
 * transfer returns `false` and keeps the `errno` of the system call; you can still use the object. No address is
 * checked here: the driver decides where the file ends. On a 32-bit machine, addresses from 0x80000000 are negative
 * file offsets, which the system refuses.
 *
 * The device has no interrupts: the four interrupt functions return `false`, leave their arguments unchanged and trace
 * nothing.
 *
 * Calls are traced at level 6 on the channel "Rynvel.Lseek".
 */
template <typename T>
class RYNVEL_EXPORT Lseek : public Device<T> {
public:
    /**
     * Opens the device file for reading and writing. If this fails, the cause is traced at level 2, and the assertion
     * `m_fd != -1` ends the process, in every build type.
     *
     * @param physicalDevName the path of the device file.
     * @param mutex serialises the register operations; the object takes ownership.
     */
    Lseek(const std::string& physicalDevName, std::unique_ptr<IMutex> mutex);

    /** Closes the device file. */
    ~Lseek() override;

    /** @return the result of the system call. Does not lock the mutex. */
    int ioctl(int command, unsigned long arg) override;

    bool getInterruptType(unsigned long* type) override;
    bool enableInterrupt() override;
    bool disableInterrupt() override;
    bool waitForInterrupt(unsigned long* info) override;

    /** Returns the descriptor of the device file. */
    int getNativeHandle() const override;

    bool read(unsigned int address, T* data) override;

    /**
     * Makes one system call for the whole burst in Host order, and one for each item in Network order.
     *
     * @return whether the number of bytes transferred equals `items`. For `std::uint16_t` and `std::uint32_t`, a
     *         complete burst of one or more items therefore returns `false`, although the data is transferred.
     */
    bool read(unsigned int address, T* data, unsigned int items, ByteOrder byteOrder) override;

    bool write(unsigned int address, T data) override;

    /** Reads the register first, unless all bits are set in `bitmask`. If the read fails, it writes nothing. */
    bool write(unsigned int address, T data, T bitmask) override;

    /** Makes the same system calls as the burst read, and returns its result in the same way. */
    bool write(unsigned int address, const T* data, unsigned int items, ByteOrder byteOrder) override;

protected:
    LinuxIo m_linuxIo;
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
