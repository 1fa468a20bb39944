/* SPDX-License-Identifier: MIT */
/**
 * @file
 * Consecutive registers. The user gives the address or the name of the first register.
 */
#ifndef RYNVELCTL_NAMEDRANGE_H
#define RYNVELCTL_NAMEDRANGE_H

#include <cstdint>
#include <functional>
#include <string>

#include "Addresses.h"

namespace Rynvelctl {

/** The consecutive registers on which a command operates. The user selects the first register by address or name. */
class NamedRange {
public:
    /** The context and the target must outlive this object. */
    NamedRange(const CommandContext& context, const Target& target, const std::string& address, AddressUnit unit)
        : m_addresses(context, target, unit), m_first(m_addresses.findWhole(address)) {}

    /**
     * Returns the range with this number of registers.
     *
     * @throws Failure if the number is not from 1 to maxRegisters, or if a register cannot be addressed. @{
     */
    RegisterRange sized(const std::string& count) const;
    RegisterRange sized(std::uint32_t count) const { return m_first.range.resized(count); }
    /** @} */

    /**
     * @throws Failure if the user gave a name, and the register map says that a register of the range cannot be read.
     */
    void requireReadable(const RegisterRange& range) const;

    /**
     * @param valueAt returns the value for the register at a position, counted from 0.
     * @throws Failure if the user gave a name, and the register map does not allow the value of a register, or the
     * device cannot access a register.
     */
    void requireAllowed(const RegisterRange& range, const std::function<std::uint32_t(std::uint32_t)>& valueAt) const;

private:
    void check(const RegisterRange& range, const std::function<void(const AddressedRegister&)>& check) const;

    Addresses m_addresses;
    Addressed m_first;
};

} // namespace Rynvelctl

#endif
