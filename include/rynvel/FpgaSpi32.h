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
 * A device with the 32-bit registers of an FPGA, which the class reaches through the spidev driver of the kernel.
 *
 * A register address is an index. The register with the index `offset` has the byte address
 * `blockOffset + 4 * offset` on the SPI bus, and the class sends the lower 32 bits of this byte address. Every register
 * access is a single system call with a full-duplex transfer of 11 bytes. The transfer has 8 bits per word, and the
 * mode and clock speed of the device file. The access succeeds if the FPGA replies with the status 0x80. After a failed
 * access, you can still use the object.
 *
 * An operation holds the mutex for one transfer at a time. Bursts and masked writes are not atomic: other threads may
 * use the device between the transfers.
 *
 * The device has no interrupts: the four interrupt functions return `false` and leave their arguments unchanged. The
 * functions ioctl() and getNativeHandle() return -1.
 *
 * The class traces construction, destruction and register operations at level 6, and statuses other than success at
 * level 1, on the channel "Rynvel.FpgaSpi".
 */
class RYNVEL_EXPORT FpgaSpi32 : public Device32 {
public:
    /**
     * Opens the device file for reading and writing. If the file cannot be opened, the constructor traces the cause at
     * level 2, and the assertion `m_fd != -1` ends the process in every build type.
     *
     * @param physicalDevName the path of the spidev device file.
     * @param mutex the mutex that serializes the transfers. The object takes ownership.
     * @param blockOffset the byte address of register 0 on the SPI bus.
     */
    FpgaSpi32(const std::string& physicalDevName, std::unique_ptr<IMutex> mutex, std::size_t blockOffset);

    /** Closes the device file. */
    ~FpgaSpi32() override;

    bool getInterruptType(unsigned long* type) override;
    bool enableInterrupt() override;
    bool disableInterrupt() override;
    bool waitForInterrupt(unsigned long* info) override;

    /** Leaves `*data` unchanged if the system call fails. Stores 0 in `*data` if the status is not success. */
    bool read(unsigned int offset, std::uint32_t* data) override;

    /**
     * Reads each register with read(offset, data), as a virtual call, and stops after the first read that fails. The
     * values of the registers before the register whose read failed are valid. The value of that register is 0 or
     * unchanged, as after a single read.
     */
    bool read(unsigned int offset, std::uint32_t* data, unsigned int items, ByteOrder byteOrder) override;

    /** Writes `data` to the register with the index `offset`, with one transfer. */
    bool write(unsigned int offset, std::uint32_t data) override;

    /**
     * Reads the register with read(offset, data) and then writes the register with write(offset, data). Both are
     * virtual calls. If all bits of `bitmask` are set, the function does not read the register.
     */
    bool write(unsigned int offset, std::uint32_t data, std::uint32_t bitmask) override;

    /** Writes each register with write(offset, data), as a virtual call, and stops after the first write that fails. */
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
