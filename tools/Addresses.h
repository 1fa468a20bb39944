/* SPDX-License-Identifier: MIT */
/**
 * @file
 * The addresses on a command line: numbers, and names of registers and fields.
 */
#ifndef RYNVELCTL_ADDRESSES_H
#define RYNVELCTL_ADDRESSES_H

#include <optional>
#include <string>

#include "CommandContext.h"
#include "RegisterMap.h"
#include "RegisterRange.h"
#include "Report.h"

namespace Rynvelctl {

/** What an address on the command line selects. */
struct Addressed {
    /** A single register. It has a name if the user gave one. */
    RegisterRange range;
    /** What the register map says; none if the user gave a number. */
    std::optional<Selection> named;

    const Maps::Field* field() const { return named ? named->field : nullptr; }
};

/** Reads the addresses of one command. It searches the register maps only for a name. */
class Addresses {
public:
    /** @param context must outlive this object and its results, and so must the target. */
    Addresses(const CommandContext& context, const Target& target, AddressUnit unit)
        : m_context(context), m_target(target), m_unit(unit) {}

    /** Finds a register or a field. @throws Failure if the text is not an address or a name, or if it is unknown. */
    Addressed find(const std::string& text);

    /** Finds a register. @throws Failure also for a field. */
    Addressed findWhole(const std::string& text);

    /**
     * Returns the register map in which a name was searched; null if no name was searched, or if no register map
     * describes the device.
     */
    const RegisterMap* registerMap() const { return m_map ? &*m_map : nullptr; }

private:
    /** Returns whether a text is an address. A name may begin with a digit, too. */
    bool isAddress(const std::string& text);
    const RegisterMap* findMap();
    const RegisterMap& registerMapFor(const std::string& name);

    const CommandContext& m_context;
    const Target& m_target;
    AddressUnit m_unit;
    std::optional<RegisterMap> m_map;
};

/** @throws Failure if the register map says that the register or field cannot be read. */
void requireReadable(const Addressed& addressed);

/** Returns what the user asked for: the value of the register, or the value of the field in it. */
Reading readingOf(const Addressed& addressed, std::uint32_t value);

/** Returns a register with its fields. @param value the value of the word, which may have further bits. */
RegisterValue decoded(const MappedRegister& whole, std::uint32_t value);

} // namespace Rynvelctl

#endif
