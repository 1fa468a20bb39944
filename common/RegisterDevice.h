/**
 * @file
 * A device of any width, as programs use it that learn the width at run time.
 */
#ifndef RYNVEL_COMMON_REGISTERDEVICE_H
#define RYNVEL_COMMON_REGISTERDEVICE_H

#include <cstdint>
#include <memory>
#include <optional>
#include <utility>

#include <rynvel.hpp>

#include "AccessMutex.h"

namespace Common {

enum class AccessResult {
    Done,
    /** The device reported failure. */
    Failed,
    /** The registers are not all inside the device's mapping: nothing was accessed. */
    OutOfRange,
    /** A value or a mask does not fit in a register: nothing was accessed. */
    TooWide,
    /** The hardware answered with a bus error. Part of a burst may have been done. */
    Faulted
};

/**
 * Checks every access against the device's mapping and width, and survives bus errors once FaultGuard::install() has
 * been called. Addresses are the device's: a byte offset or a register index, as its backend has it. Values are the
 * low `width()` bits of a word.
 *
 * Threads: as the device itself.
 */
class RegisterDevice {
public:
    virtual ~RegisterDevice() = default;

    /** Bits of a register: 8, 16 or 32. */
    virtual unsigned int width() const = 0;
    /** The device itself, for its requests and interrupts. */
    virtual Rynvel::IDevice& device() = 0;

    /** On any other outcome than Done, `value` is untouched. */
    virtual AccessResult read(std::uint32_t address, std::uint32_t& value) = 0;
    virtual AccessResult write(std::uint32_t address, std::uint32_t value) = 0;
    virtual AccessResult write(std::uint32_t address, std::uint32_t value, std::uint32_t bitmask) = 0;
    /** On any other outcome than Done, `values` are untouched. */
    virtual AccessResult read(std::uint32_t address, std::uint32_t* values, std::uint32_t items,
                              Rynvel::ByteOrder order) = 0;
    virtual AccessResult write(std::uint32_t address, const std::uint32_t* values, std::uint32_t items,
                               Rynvel::ByteOrder order) = 0;

    /** Lets something live until the device itself has ended. */
    void keepAlive(std::shared_ptr<const void> resource) { m_keptAlive = std::move(resource); }

private:
    std::shared_ptr<const void> m_keptAlive;
};

/**
 * @param mutex the lock that `device` owns. Null when no access can fault.
 * @param mapSize bytes of registers that may be accessed, from register index 0 on; none where addresses are not
 *        checked.
 */
template <typename T>
std::unique_ptr<RegisterDevice> wrap(std::unique_ptr<Rynvel::Device<T>> device, AccessMutex* mutex,
                                     std::optional<std::uint32_t> mapSize);

/**
 * Opens the device of a row for the caller alone.
 *
 * @param mapSize bytes of registers that may be accessed; none where addresses are not checked.
 * @return null for a type without a backend.
 */
std::unique_ptr<RegisterDevice> open(const Rynvel::MemoryDevice& row, std::optional<std::uint32_t> mapSize);

} // namespace Common

#endif
