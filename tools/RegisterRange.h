/* SPDX-License-Identifier: MIT */
/**
 * @file
 * Consecutive registers of a device, from an address that the user gives.
 */
#ifndef RYNVELCTL_REGISTERRANGE_H
#define RYNVELCTL_REGISTERRANGE_H

#include <cstdint>
#include <optional>
#include <string>

#include "RegisterWord.h"
#include "Target.h"

namespace Rynvelctl {

/** The maximum number of registers in a range, which limits the memory for their values. */
constexpr std::uint32_t maxRegisters = 1U << 20U;

/** The unit of the addresses on the command line. */
enum class AddressUnit { Bytes, Registers };

/**
 * Consecutive registers of a device. Every address fits in 32 bits, both in the unit of the user and in the unit of the
 * device.
 */
class RegisterRange {
public:
    /**
     * Constructs the range of a single register.
     *
     * @param device must outlive this range and its copies.
     * @throws Failure if the text is not the address of a register.
     */
    RegisterRange(const Target& device, AddressUnit unit, const std::string& address);

    /**
     * Constructs the range from the first register to the last register, including both.
     *
     * @param device must outlive this range and its copies.
     * @throws Failure if one of the texts is not the address of a register, if the last address is below the first one,
     * or if the range has more than maxRegisters registers.
     */
    RegisterRange(const Target& device, AddressUnit unit, const std::string& first, const std::string& last);

    /**
     * Constructs the range of a single register that has a name and is at most as wide as the registers of the device.
     *
     * @param device must outlive this range and its copies.
     * @throws Failure if the register cannot be addressed.
     */
    RegisterRange(const Target& device, std::uint32_t index, std::string name, unsigned int bits);

    /**
     * Returns a range of `count` registers from the same address.
     *
     * @throws Failure if one of them cannot be addressed.
     */
    RegisterRange resized(std::uint32_t count) const;

    /** Returns the range of the single register at `position`, counted from 0. The returned range has no name. */
    RegisterRange operator[](std::uint32_t position) const;

    /** Returns whether all registers are inside the map of the device. @param mapSize as in requireInside(). */
    bool isInside(std::optional<std::uint32_t> mapSize) const;

    /**
     * Checks that the range is inside the map.
     *
     * @param mapSize the size of the map in bytes; none if the size is unknown.
     * @throws Failure if a register is outside the map of the device.
     */
    void requireInside(std::optional<std::uint32_t> mapSize) const;

    const Target& device() const { return *m_device; }
    AddressUnit unit() const { return m_unit; }
    std::uint32_t count() const { return m_count; }

    /** Returns the index of the first register. */
    std::uint32_t index() const { return m_index; }
    /** Returns the address of the first register, in the unit of the user. */
    std::uint32_t address() const { return addressAt(0); }
    /** Returns the address of the register at `position`, counted from 0, in the unit of the user. */
    std::uint32_t addressAt(std::uint32_t position) const { return (m_index + position) * step(); }
    /** Returns the name of the first register; empty if the user gave an address. */
    const std::string& name() const { return m_name; }
    /**
     * Returns the number of bits of each register. A register that has a name may be narrower than the registers of the
     * device.
     */
    unsigned int bits() const { return m_bits; }
    /** Returns the first register as the user gave it: its name, or its address. */
    std::string addressText() const;
    /** Returns the address of the first register as a number, even if the user gave its name. */
    std::string numberText() const;
    /** Returns the address of the first register, in the unit of the device. */
    std::uint32_t deviceAddress() const { return m_index * m_device->type.addressStride; }

private:
    void requireAddresses() const;
    /** Returns the text of an error message that says that the range is outside the bounds. */
    std::string textOutside(const std::string& bounds) const;
    /**
     * Returns whether the address unit of the device is known, or does not matter. A remote device type, such as
     * Remote16, does not determine the unit. For registers of 8 bits, an address is the same in both units.
     */
    bool isDeviceUnitKnown() const { return m_device->type.access != Common::AccessMethod::Remote || bytes() == 1; }
    unsigned int bytes() const { return Common::bytesOf(m_device->width()); }
    /** Returns the distance from one register to the next, in the unit of the user. */
    unsigned int step() const { return m_unit == AddressUnit::Bytes ? bytes() : 1; }

    const Target* m_device;
    AddressUnit m_unit;
    std::string m_name;
    unsigned int m_bits;
    std::uint32_t m_index = 0;
    std::uint32_t m_count = 1;
};

} // namespace Rynvelctl

#endif
