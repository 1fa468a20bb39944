// SPDX-License-Identifier: MIT
/**
 * @file
 * Numbers as register maps write them.
 */
#ifndef RYNVEL_MAPS_SCALEDNUMBER_H
#define RYNVEL_MAPS_SCALEDNUMBER_H

#include <cstdint>
#include <optional>
#include <string_view>

namespace Maps {

/**
 * Reads a number: an optional +, then decimal digits, hexadecimal digits after 0x or 0X, or binary digits after # or
 * 0b, then an optional k, m, g or t of either case, which multiplies by 1024 once to four times.
 *
 * @return none for any other text, and for a number of more than 64 bits.
 */
std::optional<std::uint64_t> parseScaledNumber(std::string_view text);

/** A number of which some bits are open. */
struct BitPattern {
    std::uint64_t value = 0;
    /** The bits that count. The open ones are 0 in the value. */
    std::uint64_t mask = 0;
};

/**
 * Reads a number without a multiplier, in which an x of either case leaves a binary digit open.
 *
 * @return none for any other text, and for a number of more than 64 bits.
 */
std::optional<BitPattern> parseBitPattern(std::string_view text);

/** @return true for "true" and "1", false for "false" and "0", none for any other text. */
std::optional<bool> parseBoolean(std::string_view text);

} // namespace Maps

#endif
