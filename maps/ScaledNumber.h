// SPDX-License-Identifier: MIT
/**
 * @file
 * Parses numbers in the notations of register maps.
 */
#ifndef RYNVEL_MAPS_SCALEDNUMBER_H
#define RYNVEL_MAPS_SCALEDNUMBER_H

#include <cstdint>
#include <optional>
#include <string_view>

namespace Maps {

/**
 * Parses a number. The text begins with an optional +. Decimal digits follow, or hexadecimal digits after 0x or 0X, or
 * binary digits after #, 0b or 0B. The text may end with k, m, g or t of either case, which multiplies by 1024 once to
 * four times.
 *
 * @return the number; none for any other text, and for a number of more than 64 bits.
 */
std::optional<std::uint64_t> parseScaledNumber(std::string_view text);

/** A number with open bits, which may be 0 or 1. */
struct BitPattern {
    std::uint64_t value = 0;
    /** The bits that are not open. Open bits are 0 in the value. */
    std::uint64_t mask = 0;
};

/**
 * Parses a number without a multiplier. In a binary number, an x of either case is an open bit.
 *
 * @return the pattern; none for any other text, and for a number of more than 64 bits.
 */
std::optional<BitPattern> parseBitPattern(std::string_view text);

/** Returns true for "true" and "1", false for "false" and "0", and none for any other text. */
std::optional<bool> parseBoolean(std::string_view text);

} // namespace Maps

#endif
