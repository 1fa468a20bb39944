/* SPDX-License-Identifier: MIT */
/**
 * @file
 * The open device of a command.
 */
#ifndef RYNVELCTL_OPENDEVICE_H
#define RYNVELCTL_OPENDEVICE_H

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "CommandTimeout.h"
#include "RegisterRange.h"

namespace Rynvelctl {

constexpr std::chrono::milliseconds lateAnswerLimit(100);

/**
 * A device that a command has opened. A function throws Failure if the operation fails, or if the time-out of the
 * command expires. The failure is an UnansweredRequest if a server may have carried out the operation.
 */
class OpenDevice {
public:
    OpenDevice() = default;
    OpenDevice(const OpenDevice&) = delete;
    OpenDevice& operator=(const OpenDevice&) = delete;
    virtual ~OpenDevice() = default;

    /**
     * Returns whether further operations can succeed. Returns false after a server has left a request unanswered or has
     * ended the connection.
     */
    virtual bool isUsable() const { return true; }

    /** Returns the size of the map in bytes; none if the size is unknown. */
    virtual std::optional<std::uint32_t> mapSize() const = 0;

    /** Reads the first register of the range. */
    virtual std::uint32_t read(const RegisterRange& range) = 0;
    /**
     * Reads the first register of the range after the time-out of the command has passed. A server then has
     * lateAnswerLimit to answer.
     */
    virtual std::uint32_t readLate(const RegisterRange& range) = 0;
    /** Writes the first register of the range. */
    virtual void write(const RegisterRange& range, std::uint32_t value) = 0;
    /** Writes the bits of the mask in the first register of the range. */
    virtual void write(const RegisterRange& range, std::uint32_t value, std::uint32_t mask) = 0;
    /** Reads all registers of the range. */
    virtual std::vector<std::uint32_t> readBurst(const RegisterRange& range, Rynvel::ByteOrder order) = 0;

    /** Sends an ioctl request to the driver. @return the result of the driver. */
    virtual int ioctl(std::uint32_t request, std::uint32_t argument) = 0;

    /** Returns the interrupt type; none for a device without interrupts. */
    virtual std::optional<std::uint32_t> interruptType() = 0;
    virtual void enableInterrupts() = 0;
    virtual void disableInterrupts() = 0;
    /** Prepares to receive interrupts. @return the file descriptor to poll. */
    virtual int prepareInterrupts() = 0;
    /**
     * Receives an interrupt. Call this function when the descriptor is ready.
     *
     * @param deadline the time by which the whole interrupt word must arrive.
     * @return the interrupt word; none if there is no interrupt, or if the deadline passes.
     */
    virtual std::optional<std::uint32_t> receiveInterrupt(const Common::Deadline& deadline) = 0;

    /** Returns the file descriptor of the device; none if the device has no file on this machine. */
    virtual std::optional<int> descriptor() = 0;
};

/**
 * Opens a device, even if it is already open. CommandContext::open() opens a device only once.
 *
 * @param target must outlive the result.
 */
std::unique_ptr<OpenDevice> openDevice(const Target& target, const CommandTimeout& timeout);

} // namespace Rynvelctl

#endif
