/**
 * @file
 * Registers reached by positioning and transferring on a character device file.
 */
#ifndef RYNVEL_LSEEK_H
#define RYNVEL_LSEEK_H

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
 * A device whose register address is the byte offset in its device file, for `T` = `std::uint8_t`, `std::uint16_t` and
 * `std::uint32_t`.
 *
 * Every register operation holds the object's mutex from the positioning to the last transfer. A failed or short
 * transfer answers `false`, leaves `errno` as the system call set it, and leaves the object usable. Nothing is checked
 * or retried here; where the file ends is the driver's matter. On a 32-bit machine an address of 0x80000000 and more is
 * a negative file offset, which the system refuses.
 *
 * There are no interrupts: the four interrupt operations answer `false`, touch nothing and trace nothing.
 *
 * Entries are traced at level 6 on the channel "Rynvel.Lseek".
 */
template <typename T>
class RYNVEL_EXPORT Lseek : public Device<T> {
public:
    /**
     * Opens the device file for reading and writing. A file that cannot be opened ends the process: the cause is
     * traced at level 2, then the assertion `m_fd != -1` fails, in every build type.
     *
     * @param physicalDevName the device file's path.
     * @param mutex serialises the register operations; owned from now on.
     */
    Lseek(const std::string& physicalDevName, std::unique_ptr<IMutex> mutex);

    /** Closes the device file. */
    ~Lseek() override;

    /** The system call's result, unchanged. The mutex is not taken. */
    int ioctl(int command, unsigned long arg) override;

    bool getInterruptType(unsigned long* type) override;
    bool enableInterrupt() override;
    bool disableInterrupt() override;
    bool waitForInterrupt(unsigned long* info) override;

    /** The descriptor of the device file. */
    int getNativeHandle() const override;

    bool read(unsigned int address, T* data) override;

    /**
     * In Host order one transfer for the whole burst, in Network order one transfer per item.
     *
     * @return whether the number of bytes transferred equals `items`: for `std::uint16_t` and `std::uint32_t` a
     *         complete burst of one or more items therefore answers `false`. The data is transferred all the same.
     */
    bool read(unsigned int address, T* data, unsigned int items, ByteOrder byteOrder) override;

    bool write(unsigned int address, T data) override;

    /** Reads the register first, unless `bitmask` has all bits set; writes nothing when that read fails. */
    bool write(unsigned int address, T data, T bitmask) override;

    /** As the burst read, the result included. */
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
