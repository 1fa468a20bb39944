/* SPDX-License-Identifier: MIT */
/**
 * @file
 * Parses and formats numbers.
 */
#ifndef RYNVEL_COMMON_NUMBER_H
#define RYNVEL_COMMON_NUMBER_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace Common {

/** The notations that a number may have besides decimal, and the greatest number of digits. */
struct NumberFormat {
    /** Whether hexadecimal digits may follow 0x or 0X. */
    bool allowsHexadecimal = false;
    /** Whether binary digits may follow 0b or 0B. */
    bool allowsBinary = false;
    /** The greatest number of digits. Leading zeros count. The prefix does not count. */
    std::size_t maxDigits = std::string_view::npos;
};

/** The notations on command lines. */
constexpr NumberFormat anyNotation{true, true};

/** Returns whether the text is a number in the format, even if the number has more than 32 bits. */
bool isNumber(std::string_view text, const NumberFormat& format);

/** Returns the number; empty if the text is not a number in the format, or if the number is greater than `highest`. */
std::optional<std::uint32_t> parseNumber(std::string_view text, const NumberFormat& format,
                                         std::uint32_t highest = UINT32_MAX);

/**
 * Returns a decimal number without its leading zeros; empty for any other text and for a number without leading zeros.
 */
std::string_view withoutLeadingZeros(std::string_view text);

/**
 * Returns the hint for a number with a leading zero, which the user may mean as an octal number. For example, the hint
 * for "010" is "write 10 or 0x8". The hint gives the decimal value, and the octal value of two or more octal digits.
 * The hint leaves out a value that does not fit in 32 bits. Returns an empty text if no value fits, and for any other
 * text.
 */
std::string hintForLeadingZero(std::string_view text);

/** Returns 0x and at least as many hexadecimal digits as a register of `width` bits has. */
std::string hexadecimal(std::uint64_t value, unsigned int width = 32);

/** Returns the digits of hexadecimal(), without 0x. */
std::string hexadecimalDigits(std::uint64_t value, unsigned int width);

} // namespace Common

#endif
