/* SPDX-License-Identifier: MIT */
/**
 * @file
 * Bits of a register on a command line.
 */
#ifndef RYNVELCTL_BITRANGE_H
#define RYNVELCTL_BITRANGE_H

#include <cstdint>
#include <optional>
#include <string>

#include "RegisterWord.h"

namespace Rynvelctl {

/** Consecutive bits of a register. */
struct BitRange {
    unsigned int msb;
    unsigned int lsb;

    unsigned int width() const { return msb - lsb + 1; }
    std::uint32_t mask() const { return Common::maxValue(width()) << lsb; }
    /** Returns the value of the bits in the value of the register. */
    std::uint32_t in(std::uint32_t value) const { return value >> lsb & Common::maxValue(width()); }
    /** Returns a text such as "[7:4]", or "[3:3]" for a single bit. */
    std::string text() const;
};

/**
 * Returns the bit that a number selects.
 *
 * @param bits the width of the register.
 * @throws Failure if the text is not a number, or if the register does not have the bit.
 */
unsigned int parseBit(const std::string& text, unsigned int bits);

/**
 * Returns the bits that a text such as "7:4" selects.
 *
 * @param bits the width of the register.
 * @throws Failure for any other text, and for a bit outside the register.
 */
BitRange parseBitRange(const std::string& text, unsigned int bits);

/** A text that ends in brackets, such as `REGISTER[7:4]`. */
struct Bracketed {
    /** The text before the last opening bracket. */
    std::string before;
    /** The text inside the last brackets. */
    std::string inside;

    /**
     * Returns whether the brackets contain a range of bits. Without a colon, they contain the index of an array
     * element.
     */
    bool hasRange() const { return inside.find(':') != std::string::npos; }
};

/** Returns the hint at the end of an error message about brackets with a single bit: how to select that bit. */
std::string oneBitOf(const Bracketed& bracketed);

/** Returns the parts of a text that ends in brackets; none for any other text. */
std::optional<Bracketed> splitBrackets(const std::string& text);

} // namespace Rynvelctl

#endif
