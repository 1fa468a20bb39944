/**
 * @file
 * From the addresses that users give to those that a device takes.
 */
#ifndef RYNVELCTL_ADDRESSING_H
#define RYNVELCTL_ADDRESSING_H

#include <cstdint>
#include <string>

#include "DeviceKind.h"
#include "RegisterWord.h"

namespace Rynvelctl {

enum class AddressUnit { Bytes, Registers };

/** A register. */
struct Place {
    /** The address in the user's unit. */
    std::uint32_t number;
    /** The register's index, from the device's first byte on. */
    std::uint32_t index;
    /** What the device takes. */
    std::uint32_t deviceAddress;
};

/** Of one device, in one unit of addresses. */
class Addressing {
public:
    /** @param name the device's, for failures. */
    Addressing(std::string name, const Common::DeviceKind& kind, AddressUnit unit);

    AddressUnit unit() const { return m_unit; }

    /** The register at an address. @throws Failure when the text is no address of a register. */
    Place locate(const std::string& text) const;

    /** @throws Failure when a block of `count` registers from `first` on goes beyond the last address of 32 bits. */
    void requireAddresses(const Place& first, std::uint32_t count) const;

    /** @throws Failure when a block of `count` registers is not inside a map of `mapSize` bytes. */
    void requireInside(std::uint32_t mapSize, const Place& first, std::uint32_t count) const;

    /** The register `offset` registers behind another, in a block that is known to have addresses. */
    Place behind(const Place& first, std::uint32_t offset) const;

    /** The address as users read it. */
    std::string text(const Place& place) const;

private:
    unsigned int bytes() const { return Common::bytesOf(m_kind.width); }
    /** Whether it is known what the device counts in: a remote row does not tell, and for 8 bits it is all the same. */
    bool isStepKnown() const { return m_kind.access != Common::Access::Remote || bytes() == 1; }
    /** From one register to the next, in the user's unit. */
    unsigned int step() const { return m_unit == AddressUnit::Bytes ? bytes() : 1; }

    std::string m_name;
    Common::DeviceKind m_kind;
    AddressUnit m_unit;
};

} // namespace Rynvelctl

#endif
