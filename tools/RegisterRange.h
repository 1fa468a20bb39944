/**
 * @file
 * Registers of a device, at the address that the user gives.
 */
#ifndef RYNVELCTL_REGISTERRANGE_H
#define RYNVELCTL_REGISTERRANGE_H

#include <cstdint>
#include <optional>
#include <string>

#include "RegisterWord.h"
#include "Target.h"

namespace Rynvelctl {

/** What the user's addresses count. */
enum class AddressUnit { Bytes, Registers };

/** Consecutive registers of a device. The address of each fits in 32 bits, for the user and for the device. */
class RegisterRange {
public:
    /**
     * A single register.
     *
     * @param device must outlive this range and all that are made from it.
     * @throws Failure when the text is no address of a register.
     */
    RegisterRange(const Target& device, AddressUnit unit, const std::string& address);

    /** As many registers, from the first of this range on. @throws Failure when one of them has no address. */
    RegisterRange resized(std::uint32_t count) const;

    /** A register of this range by itself; the first one is number 0. */
    RegisterRange operator[](std::uint32_t number) const;

    /** @throws Failure when the registers are not all inside the device's map. @param mapSize none when not known. */
    void requireInside(std::optional<std::uint32_t> mapSize) const;

    const Target& device() const { return *m_device; }
    AddressUnit unit() const { return m_unit; }
    std::uint32_t count() const { return m_count; }

    /** The index of the first register; the device's first byte is in register 0. */
    std::uint32_t index() const { return m_index; }
    /** The address of the first register, in the user's unit. */
    std::uint32_t address() const { return m_index * step(); }
    /** The same address as the user reads it. */
    std::string addressText() const;
    /** The address of the first register that the device takes. */
    std::uint32_t deviceAddress() const { return m_index * m_device->kind.addressStride; }

private:
    void requireAddresses() const;
    /** Whether it is known what the device counts in: a remote row does not tell, and for 8 bits it is all the same. */
    bool isStepKnown() const { return m_device->kind.access != Common::Access::Remote || bytes() == 1; }
    unsigned int bytes() const { return Common::bytesOf(m_device->width()); }
    /** From one register to the next, in the user's unit. */
    unsigned int step() const { return m_unit == AddressUnit::Bytes ? bytes() : 1; }

    const Target* m_device;
    AddressUnit m_unit;
    std::uint32_t m_index = 0;
    std::uint32_t m_count = 1;
};

} // namespace Rynvelctl

#endif
