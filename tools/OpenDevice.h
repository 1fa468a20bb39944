/**
 * @file
 * The device that a command is about, open.
 */
#ifndef RYNVELCTL_OPENDEVICE_H
#define RYNVELCTL_OPENDEVICE_H

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "CommandTime.h"
#include "RegisterRange.h"

namespace Rynvelctl {

/** Everything that fails is thrown as Failure, and so is the end of the command's time. */
class OpenDevice {
public:
    OpenDevice() = default;
    OpenDevice(const OpenDevice&) = delete;
    OpenDevice& operator=(const OpenDevice&) = delete;
    virtual ~OpenDevice() = default;

    /** Bytes of registers; none where the device does not tell. */
    virtual std::optional<std::uint32_t> mapSize() const = 0;

    /** Reads the first register of the range. */
    virtual std::uint32_t read(const RegisterRange& range) = 0;
    /** Writes the first register of the range. */
    virtual void write(const RegisterRange& range, std::uint32_t value) = 0;
    /** Writes the bits of the mask in the first register of the range. */
    virtual void write(const RegisterRange& range, std::uint32_t value, std::uint32_t mask) = 0;
    /** Reads all registers of the range. */
    virtual std::vector<std::uint32_t> readBurst(const RegisterRange& range, Rynvel::ByteOrder order) = 0;

    virtual int ioctl(std::uint32_t request, std::uint32_t argument) = 0;

    /** None for a device without interrupts. */
    virtual std::optional<std::uint32_t> interruptType() = 0;
    virtual void enableInterrupts() = 0;
    virtual void disableInterrupts() = 0;
    /** Prepares to receive interrupts. @return the descriptor to poll for them. */
    virtual int expectInterrupts() = 0;
    /**
     * After the descriptor was ready.
     *
     * @param deadline for the word to be whole.
     * @return the interrupt's word; none when there was no interrupt after all, or not in time.
     */
    virtual std::optional<std::uint32_t> receiveInterrupt(const Common::Deadline& deadline) = 0;

    /** The descriptor of this machine's device; none where there is none. */
    virtual std::optional<int> descriptor() = 0;
};

/** @param target must outlive the result. */
std::unique_ptr<OpenDevice> openDevice(const Target& target, const CommandTime& time);

/** The device of the registers. @throws Failure also when they are not all inside its map. */
std::unique_ptr<OpenDevice> openDevice(const RegisterRange& range, const CommandTime& time);

} // namespace Rynvelctl

#endif
