/**
 * @file
 * Registers of an FPGA behind an SPI controller.
 */
#ifndef RYNVEL_FPGASPI32_H
#define RYNVEL_FPGASPI32_H

#include <array>
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
 * 32-bit registers of an FPGA that is reached through a spidev node.
 *
 * A register address is a word index: the register's byte address on the SPI bus is `blockOffset + 4 * offset`, in
 * 32 bits, wrapping without notice. Every register access is one full-duplex transaction of 11 bytes, one system call,
 * with the mode, clock speed and word size that the node has. A transaction succeeds when the FPGA answers the status
 * 0x80; a failed one leaves the object usable for the next.
 *
 * The mutex is held for one transaction at a time: a burst and a masked write are not atomic, and other threads may use
 * the device between two of their words.
 *
 * There are no interrupts and no requests: the four interrupt operations answer `false` and touch nothing, ioctl()
 * answers -1, and there is no native handle (-1).
 *
 * Entries are traced at level 6, statuses other than success at level 1, on the channel "Rynvel.FpgaSpi".
 */
class RYNVEL_EXPORT FpgaSpi32 : public Device32 {
public:
    /**
     * Opens the spidev node for reading and writing. A node that cannot be opened ends the process: the cause is traced
     * at level 2, then the assertion `m_fd != -1` fails, in every build type.
     *
     * @param physicalDevName the node's path.
     * @param mutex serialises the transactions; owned from now on.
     * @param blockOffset byte address of register 0 on the SPI bus.
     */
    FpgaSpi32(const std::string& physicalDevName, std::unique_ptr<IMutex> mutex, std::size_t blockOffset);

    /** Closes the node. */
    ~FpgaSpi32() override;

    bool getInterruptType(unsigned long* type) override;
    bool enableInterrupt() override;
    bool disableInterrupt() override;
    bool waitForInterrupt(unsigned long* info) override;

    /** A failed transfer leaves `*data` alone; a status other than success sets it to 0 and is traced. */
    bool read(unsigned int offset, std::uint32_t* data) override;

    /**
     * One transaction a word, by the virtual single read, up to the first that fails: the words before it are there,
     * the word itself is as the single read left it. Host order delivers values in the processor's byte order, Network
     * order reverses each once more.
     */
    bool read(unsigned int offset, std::uint32_t* data, unsigned int items, ByteOrder byteOrder) override;

    bool write(unsigned int offset, std::uint32_t data) override;

    /** A virtual read and a virtual write; the write alone when `bitmask` has all bits set. */
    bool write(unsigned int offset, std::uint32_t data, std::uint32_t bitmask) override;

    /** One transaction a word, by the virtual single write, up to the first that fails. */
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
