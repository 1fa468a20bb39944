// SPDX-License-Identifier: MIT
#include "ScaledNumber.h"

#include <charconv>
#include <system_error>

namespace Maps {

namespace {

constexpr unsigned int bits = 64;

struct Digits {
    std::string_view text;
    int base;
};

bool takePrefix(std::string_view& text, std::string_view prefix) {
    const bool isThere = text.substr(0, prefix.size()) == prefix;
    if (isThere) {
        text.remove_prefix(prefix.size());
    }
    return isThere;
}

Digits digitsOf(std::string_view text) {
    takePrefix(text, "+");
    if (takePrefix(text, "0x") || takePrefix(text, "0X")) {
        return {text, 16};
    }
    const bool isBinary = takePrefix(text, "#") || takePrefix(text, "0b") || takePrefix(text, "0B");
    return {text, isBinary ? 2 : 10};
}

std::optional<std::uint64_t> parseDigits(const Digits& digits) {
    std::uint64_t number = 0;
    const char* const end = digits.text.data() + digits.text.size();
    const auto result = std::from_chars(digits.text.data(), end, number, digits.base);
    return result.ec == std::errc{} && result.ptr == end ? std::optional<std::uint64_t>(number) : std::nullopt;
}

/** Returns the number of bits by which a multiplier shifts; 0 for any other character. */
unsigned int shiftOf(char multiplier) {
    constexpr std::string_view multipliers = "kmgtKMGT";
    const std::size_t index = multipliers.find(multiplier);
    return index == std::string_view::npos ? 0 : 10 * (static_cast<unsigned int>(index) % 4 + 1);
}

bool isOpen(char digit) { return digit == 'x' || digit == 'X'; }

} // namespace

std::optional<std::uint64_t> parseScaledNumber(std::string_view text) {
    const unsigned int shift = text.empty() ? 0 : shiftOf(text.back());
    const auto number = parseDigits(digitsOf(text.substr(0, text.size() - (shift == 0 ? 0 : 1))));
    return number && *number <= UINT64_MAX >> shift ? std::optional<std::uint64_t>(*number << shift) : std::nullopt;
}

std::optional<BitPattern> parseBitPattern(std::string_view text) {
    const Digits digits = digitsOf(text);
    if (digits.base != 2) {
        const auto number = parseDigits(digits);
        return number ? std::optional<BitPattern>({*number, UINT64_MAX}) : std::nullopt;
    }
    if (digits.text.empty() || digits.text.size() > bits ||
        digits.text.find_first_not_of("01xX") != std::string::npos) {
        return std::nullopt;
    }
    BitPattern pattern{0, UINT64_MAX};
    for (const char digit : digits.text) {
        pattern.value = pattern.value << 1U | (digit == '1' ? 1U : 0U);
        pattern.mask = pattern.mask << 1U | (isOpen(digit) ? 0U : 1U);
    }
    return pattern;
}

std::optional<bool> parseBoolean(std::string_view text) {
    if (text == "true" || text == "1") {
        return true;
    }
    return text == "false" || text == "0" ? std::optional<bool>(false) : std::nullopt;
}

} // namespace Maps
