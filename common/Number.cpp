// SPDX-License-Identifier: MIT
#include "Number.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <system_error>

namespace Common {

namespace {

struct Digits {
    std::string_view text;
    int base;
};

bool hasPrefix(std::string_view text, char letter) {
    return text.size() > 1 && text[0] == '0' && (text[1] == letter || text[1] == letter - 'a' + 'A');
}

Digits digitsOf(std::string_view text, const NumberFormat& format) {
    if (format.allowsHexadecimal && hasPrefix(text, 'x')) {
        return {text.substr(2), 16};
    }
    if (format.allowsBinary && hasPrefix(text, 'b')) {
        return {text.substr(2), 2};
    }
    return {text, 10};
}

/**
 * Returns no error for a number, result_out_of_range for a number of more than 32 bits, and invalid_argument for any
 * other text.
 */
std::errc read(std::string_view text, const NumberFormat& format, std::uint32_t& number) {
    const Digits digits = digitsOf(text, format);
    const char* const end = digits.text.data() + digits.text.size();
    const auto result = std::from_chars(digits.text.data(), end, number, digits.base);
    return result.ptr != end || digits.text.size() > format.maxDigits ? std::errc::invalid_argument : result.ec;
}

/** Returns an octal number of at most 32 bits as a hexadecimal number with 0x; empty for any other text. */
std::string inHexadecimal(std::string_view octal) {
    std::uint32_t number = 0;
    const char* const end = octal.data() + octal.size();
    const auto read = std::from_chars(octal.data(), end, number, 8);
    std::array<char, 16> digits{};
    if (read.ptr != end || read.ec != std::errc{}) {
        return "";
    }
    return "0x" +
           std::string(digits.data(), std::to_chars(digits.data(), digits.data() + digits.size(), number, 16).ptr);
}

} // namespace

bool isNumber(std::string_view text, const NumberFormat& format) {
    std::uint32_t number = 0;
    return read(text, format, number) != std::errc::invalid_argument;
}

std::optional<std::uint32_t> parseNumber(std::string_view text, const NumberFormat& format, std::uint32_t highest) {
    std::uint32_t number = 0;
    const bool isRead = read(text, format, number) == std::errc{};
    return isRead && number <= highest ? std::optional<std::uint32_t>(number) : std::nullopt;
}

std::string_view withoutLeadingZeros(std::string_view text) {
    if (text.size() < 2 || text.front() != '0' || !isNumber(text, {})) {
        return "";
    }
    return text.substr(std::min(text.find_first_not_of('0'), text.size() - 1));
}

std::string hintForLeadingZero(std::string_view text) {
    const std::string_view digits = withoutLeadingZeros(text);
    const std::string decimal(parseNumber(digits, {}) ? digits : "");
    const std::string octal = digits.size() < 2 ? "" : inHexadecimal(digits);
    if (decimal.empty() && octal.empty()) {
        return "";
    }
    return "write " + decimal + (decimal.empty() || octal.empty() ? "" : " or ") + octal;
}

std::string hexadecimal(std::uint64_t value, unsigned int width) { return "0x" + hexadecimalDigits(value, width); }

std::string hexadecimalDigits(std::uint64_t value, unsigned int width) {
    constexpr std::size_t mostDigits = 16;
    std::array<char, mostDigits> digits{};
    char* const end = std::to_chars(digits.data(), digits.data() + digits.size(), value, 16).ptr;
    const std::string text(digits.data(), end);
    const std::size_t count = width / 4;
    return text.size() < count ? std::string(count - text.size(), '0') + text : text;
}

} // namespace Common
