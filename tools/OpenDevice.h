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

#include "Addressing.h"
#include "CommandTime.h"
#include "Subject.h"

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

    /** @throws Failure when the registers are not all inside the device's map. */
    void requireInside(const Addressing& addressing, const Place& first, std::uint32_t count) const;

    virtual std::uint32_t read(const Addressing& addressing, const Place& place) = 0;
    virtual void write(const Addressing& addressing, const Place& place, std::uint32_t value) = 0;
    virtual void write(const Addressing& addressing, const Place& place, std::uint32_t value, std::uint32_t mask) = 0;
    virtual std::vector<std::uint32_t> readBurst(const Addressing& addressing, const Place& first, std::uint32_t count,
                                                 Rynvel::ByteOrder order) = 0;

    virtual int ioctl(std::uint32_t request, std::uint32_t argument) = 0;

    /** None for a device without interrupts. */
    virtual std::optional<std::uint32_t> interruptType() = 0;
    virtual void enableInterrupts() = 0;
    virtual void disableInterrupts() = 0;
    /** Prepares to receive interrupts. @return the descriptor to poll for them. */
    virtual int expectInterrupts() = 0;
    /** After the descriptor was ready. @return the interrupt's word; none when there was no interrupt after all. */
    virtual std::optional<std::uint32_t> receiveInterrupt() = 0;

    /** The descriptor of this machine's device; none where there is none. */
    virtual std::optional<int> descriptor() = 0;
};

/** @param subject must outlive the result. */
std::unique_ptr<OpenDevice> openDevice(const Subject& subject, const CommandTime& time);

/** What goes wrong with a register, for instance "reading 0x00000010". */
std::string accessText(const char* deed, const Addressing& addressing, const Place& place);

} // namespace Rynvelctl

#endif
