/* SPDX-License-Identifier: MIT */
/**
 * @file
 * Parses numbers.
 */
#ifndef RYNVEL_COMMON_NUMBER_H
#define RYNVEL_COMMON_NUMBER_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

namespace Common {

/** The notations that are allowed besides decimal. */
struct NumberFormat {
    /** After 0x or 0X. */
    bool allowsHexadecimal = false;
    /** After 0b or 0B. */
    bool allowsBinary = false;
    /** Includes leading zeros, but not the prefix. */
    std::size_t maxDigits = std::string_view::npos;
};

/** The notations on command lines. */
constexpr NumberFormat anyNotation{true, true};

/** Whether the text is a number of any size: a prefix that `format` allows, then digits only. */
bool isNumber(std::string_view text, const NumberFormat& format);

/** @return empty if the text is not a number in the format, or if the number is greater than `highest`. */
std::optional<std::uint32_t> parseNumber(std::string_view text, const NumberFormat& format,
                                         std::uint32_t highest = UINT32_MAX);

} // namespace Common

#endif
