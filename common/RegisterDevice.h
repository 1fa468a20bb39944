/* SPDX-License-Identifier: MIT */
/**
 * @file
 * A device whose register width is known only at run time.
 */
#ifndef RYNVEL_COMMON_REGISTERDEVICE_H
#define RYNVEL_COMMON_REGISTERDEVICE_H

#include <rynvel.hpp>

#include <cstdint>
#include <memory>
#include <optional>
#include <utility>

#include "AccessMutex.h"

namespace Common {

enum class AccessResult {
    Success,
    /** The operation of the device has failed. */
    Failed,
    /** Some of the registers are outside the map of the device. No register was accessed. */
    OutOfRange,
    /** A value or a mask has more bits than a register. No register was accessed. */
    TooWide,
    /** The hardware has reported a bus error. The device may have transferred a part of a burst. */
    BusError
};

/**
 * A device that checks every access against its map and its register width. After BusErrorGuard::install(), the device
 * also recovers from bus errors. An address is a byte address or a register index, depending on the backend. A value
 * occupies the low `width()` bits of its word.
 *
 * The thread rules of the device itself apply.
 */
class RegisterDevice {
public:
    virtual ~RegisterDevice() = default;

    /** Returns the register width in bits: 8, 16 or 32. */
    virtual unsigned int width() const = 0;
    /** Returns the device itself, for ioctl requests and interrupts. */
    virtual Rynvel::IDevice& device() = 0;

    /** Stores the value of a register. If the result is not Success, does not change `value`. */
    virtual AccessResult read(std::uint32_t address, std::uint32_t& value) = 0;
    virtual AccessResult write(std::uint32_t address, std::uint32_t value) = 0;
    virtual AccessResult write(std::uint32_t address, std::uint32_t value, std::uint32_t bitmask) = 0;
    /** Stores the values of a burst. If the result is not Success, does not change `values`. */
    virtual AccessResult read(std::uint32_t address, std::uint32_t* values, std::uint32_t items,
                              Rynvel::ByteOrder order) = 0;
    virtual AccessResult write(std::uint32_t address, const std::uint32_t* values, std::uint32_t items,
                               Rynvel::ByteOrder order) = 0;

    /**
     * Reads a burst into memory that has the layout and alignment of an array of registers. If the result is not
     * Success, a part of the memory may have changed.
     */
    virtual AccessResult readInto(std::uint32_t address, void* registers, std::uint32_t items,
                                  Rynvel::ByteOrder order) = 0;
    /** Writes a burst from memory that has the layout and alignment of an array of registers. */
    virtual AccessResult writeFrom(std::uint32_t address, const void* registers, std::uint32_t items,
                                   Rynvel::ByteOrder order) = 0;

    /** Keeps the resource alive until the device itself has been destroyed. */
    void keepAlive(std::shared_ptr<const void> resource) { m_keptAlive = std::move(resource); }

private:
    std::shared_ptr<const void> m_keptAlive;
};

/**
 * Returns the device as a RegisterDevice.
 *
 * @param mutex the mutex that `device` owns; null if no access can cause a bus error.
 * @param mapSize the size of the accessible range in bytes, which begins at register index 0; empty to check no
 * addresses.
 */
template <typename T>
std::unique_ptr<RegisterDevice> wrap(std::unique_ptr<Rynvel::Device<T>> device, AccessMutex* mutex,
                                     std::optional<std::uint32_t> mapSize);

/**
 * Opens the device of a table row. The result does not share the device with other callers. If a device file cannot be
 * mapped, or if the file of a seekable device or an FPGA cannot be opened, an assertion of the library ends the
 * process. openDevice() avoids this.
 *
 * @param mapSize the size of the accessible range in bytes, which begins at register index 0; empty to check no
 * addresses.
 * @return the device; null if the device type has no backend.
 */
std::unique_ptr<RegisterDevice> open(const Rynvel::MemoryDevice& row, std::optional<std::uint32_t> mapSize);

} // namespace Common

#endif
