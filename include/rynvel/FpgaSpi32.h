/* SPDX-License-Identifier: MIT */
/**
 * @file
 * Registers of an FPGA on an SPI bus.
 */
#ifndef RYNVEL_FPGASPI32_H
#define RYNVEL_FPGASPI32_H

#include "rynvel/Device.h"
#include "rynvel/Export.h"
#include "rynvel/IMutex.h"
#include "rynvel/LinuxIo.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

class ZilTrace;

namespace Rynvel {

/**
 * The 32-bit registers of an FPGA, which the kernel's spidev driver makes accessible.
 *
 * A register address is an index: the byte address on the SPI bus is `blockOffset + 4 * offset`, of which the lower 32
 * bits are sent. Every register access is one full-duplex transfer of 11 bytes in one system call, with 8 bits per word
 * and the mode and clock speed of the device file. A transfer succeeds if the FPGA replies with the status 0x80. After
 * a failed transfer you can still use the object.
 *
 * The mutex is held for one transfer at a time. Bursts and masked writes are not atomic: other threads may use the
 * device between their transfers.
 *
 * The device has no interrupts and no requests: the four interrupt functions return `false` and leave their arguments
 * unchanged, and ioctl() and getNativeHandle() return -1.
 *
 * Calls are traced at level 6, statuses other than success at level 1, on the channel "Rynvel.FpgaSpi".
 */
class RYNVEL_EXPORT FpgaSpi32 : public Device32 {
public:
    /**
     * Opens the device file for reading and writing. If this fails, the cause is traced at level 2, and the assertion
     * `m_fd != -1` ends the process, in every build type.
     *
     * @param physicalDevName the path of the spidev device file.
     * @param mutex serialises the transfers; the object takes ownership.
     * @param blockOffset the byte address of register 0 on the SPI bus.
     */
    FpgaSpi32(const std::string& physicalDevName, std::unique_ptr<IMutex> mutex, std::size_t blockOffset);

    /** Closes the device file. */
    ~FpgaSpi32() override;

    bool getInterruptType(unsigned long* type) override;
    bool enableInterrupt() override;
    bool disableInterrupt() override;
    bool waitForInterrupt(unsigned long* info) override;

    /** A failed system call leaves `*data` unchanged; a status other than success sets it to 0. */
    bool read(unsigned int offset, std::uint32_t* data) override;

    /**
     * Calls the virtual single read for each word, up to the first that fails. The words before it are valid; the word
     * itself is as the single read left it. Host order delivers the words in the processor's byte order; Network order
     * reverses the bytes of each.
     */
    bool read(unsigned int offset, std::uint32_t* data, unsigned int items, ByteOrder byteOrder) override;

    bool write(unsigned int offset, std::uint32_t data) override;

    /** Calls the virtual single read and write; only the write if all bits are set in `bitmask`. */
    bool write(unsigned int offset, std::uint32_t data, std::uint32_t bitmask) override;

    /** Calls the virtual single write for each word, up to the first that fails. */
    bool write(unsigned int offset, const std::uint32_t* data, unsigned int items, ByteOrder byteOrder) override;

private:
    using Frame = std::array<std::uint8_t, 11>;

    RYNVEL_LOCAL Frame makeRequest(std::uint8_t command, unsigned int offset, std::uint32_t data) const;
    RYNVEL_LOCAL bool transfer(const Frame& request, Frame& reply);

    LinuxIo m_linuxIo;
    int m_fd = -1;
    std::unique_ptr<IMutex> m_mutex;
    std::size_t m_blockOffset;

    RYNVEL_LOCAL static ZilTrace m_trace;
};

} // namespace Rynvel

#endif
