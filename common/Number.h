/**
 * @file
 * Numbers in the texts that users and other programs write.
 */
#ifndef RYNVEL_COMMON_NUMBER_H
#define RYNVEL_COMMON_NUMBER_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

namespace Common {

/** How a number may be written beside decimal. */
struct NumberFormat {
    /** After 0x or 0X. */
    bool allowsHexadecimal = false;
    /** After 0b or 0B. */
    bool allowsBinary = false;
    /** Leading zeros count, the prefix does not. */
    std::size_t maxDigits = std::string_view::npos;
};

/** Whether the text is a number, of any size: a prefix that the notation has, then digits and nothing else. */
bool isNumber(std::string_view text, const NumberFormat& notation);

/** @return none for a text that is no number in the notation, and for a number above `highest`. */
std::optional<std::uint32_t> parseNumber(std::string_view text, const NumberFormat& notation,
                                         std::uint32_t highest = UINT32_MAX);

} // namespace Common

#endif
