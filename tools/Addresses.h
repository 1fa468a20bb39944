/* SPDX-License-Identifier: MIT */
/**
 * @file
 * The addresses on a command line: numbers, and names of registers and fields.
 */
#ifndef RYNVELCTL_ADDRESSES_H
#define RYNVELCTL_ADDRESSES_H

#include <optional>
#include <string>
#include <vector>

#include "BitRange.h"
#include "CommandContext.h"
#include "RegisterMap.h"
#include "RegisterRange.h"
#include "Report.h"

namespace Rynvelctl {

/** The registers or bits that an address on the command line selects. */
struct Addressed {
    /**
     * A single register, or the registers of a range. The range of a single register has a name if the user gave a
     * name.
     */
    RegisterRange range;
    /** The description from the register map; none if the user gave a number. */
    std::optional<Selection> named;
    /** The bits of the register; none for the whole register or a field. */
    std::optional<BitRange> bits = std::nullopt;

    const Maps::Field* field() const { return named ? named->field : nullptr; }
};

/** Evaluates the addresses of one command. Searches the register maps only if a text may be a name. */
class Addresses {
public:
    /** The context and the target must outlive this object and its results. */
    Addresses(const CommandContext& context, const Target& target, AddressUnit unit)
        : m_context(context), m_target(target), m_unit(unit) {}

    /** Finds a register or a field. @throws Failure if the text does not select exactly one register or field. */
    Addressed find(const std::string& text);

    /**
     * Finds a register, a field, or bits of a register, such as `REGISTER[7:4]`.
     *
     * @throws Failure if the text does not select exactly one of these, or if it is the name of a register and also
     * selects bits of another register.
     */
    Addressed findPart(const std::string& text);

    /** Does the same as findPart(), and also finds the registers of a range of addresses, such as 0x10..0x1c. */
    Addressed findRange(const std::string& text);

    /** Finds a register. @throws Failure as find() does, and for a field. */
    Addressed findWhole(const std::string& text);

    /** Returns whether a text has the form of a range of addresses, such as 0x10..0x1c. */
    static bool isRange(const std::string& text);

    /** Returns whether a text is a number, or the name of a register or a field. */
    bool isRegister(const std::string& text);

    /**
     * Returns the register map in which the object has searched for a name; null if it has not searched for a name, or
     * if no register map describes the device.
     */
    const RegisterMap* registerMap() const { return m_map; }

private:
    Addressed findWithoutBits(const std::string& text);
    /**
     * Returns whether a text with brackets selects bits. If not, the whole text is a name, such as that of an array
     * element.
     */
    bool selectsBits(const std::string& text, const Bracketed& bracketed);
    bool isName(const std::string& text);
    /** Returns the address of a named register as a number. */
    std::string hexadecimalAddress(const std::string& name);
    /**
     * Returns whether to take a text as an address. With --index, this is every text. Without a register map, this
     * includes every text that begins with a digit, so that the error message is about a number. With a register map, a
     * name may begin with a digit.
     */
    bool isAddress(const std::string& text);
    const RegisterMap* findMap();
    const RegisterMap& registerMapFor(const std::string& name);

    const CommandContext& m_context;
    const Target& m_target;
    AddressUnit m_unit;
    const RegisterMap* m_map = nullptr;
};

/** @throws Failure if the register map says that the register, the field or all of the bits cannot be read. */
void requireReadable(const Addressed& addressed);

/**
 * @throws Failure if the user gave the name of a register, a field or bits, and reading the register has a side effect.
 * The message names the option --with-side-effects.
 */
void requireHarmlessRead(const Addressed& addressed);

/**
 * Returns the registers, fields and bits to read, in the order of the texts.
 *
 * @param find the function that evaluates one text.
 * @throws Failure if the register map says that one of them cannot be read, or if `find` throws Failure.
 */
template <typename Find>
std::vector<Addressed> readableBy(const std::vector<std::string>& texts, const Find& find) {
    std::vector<Addressed> found;
    found.reserve(texts.size());
    for (const std::string& text : texts) {
        found.push_back(find(text));
        requireReadable(found.back());
    }
    return found;
}

/** Returns the requested value: that of the register, of its field, or of its bits. */
Reading readingOf(const Addressed& addressed, std::uint32_t value);

/**
 * Returns a register with its fields.
 *
 * @param value the value of the word that contains the register. Bits outside the register are ignored.
 */
RegisterValue decoded(const AddressedRegister& whole, std::uint32_t value);

} // namespace Rynvelctl

#endif
