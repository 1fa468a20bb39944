#include "Numbers.h"

#include <charconv>
#include <iomanip>
#include <sstream>
#include <string_view>
#include <system_error>

#include "Failure.h"

namespace Rynvelctl {

namespace {

/** Takes a prefix of the text away. */
bool takePrefix(std::string_view& text, std::string_view prefix) {
    if (text.substr(0, prefix.size()) != prefix) {
        return false;
    }
    text.remove_prefix(prefix.size());
    return true;
}

int takeBase(std::string_view& text) {
    if (takePrefix(text, "0x") || takePrefix(text, "0X")) {
        return 16;
    }
    return takePrefix(text, "0b") || takePrefix(text, "0B") ? 2 : 10;
}

std::string quoted(const std::string& what, const std::string& text) { return what + " '" + text + "'"; }

} // namespace

std::uint32_t parseNumber(const std::string& what, const std::string& text) {
    std::string_view digits = text;
    const int base = takeBase(digits);
    std::uint32_t number = 0;
    const char* const end = digits.data() + digits.size();
    const auto result = std::from_chars(digits.data(), end, number, base);
    if (result.ec == std::errc::invalid_argument || result.ptr != end) {
        throw wrongUsage(quoted(what, text) + " is no number (decimal, 0x or 0b)");
    }
    if (result.ec != std::errc{}) {
        throw wrongUsage(quoted(what, text) + " does not fit in 32 bits");
    }
    return number;
}

std::uint32_t parseValue(const std::string& what, const std::string& text, unsigned int width) {
    const std::uint32_t value = parseNumber(what, text);
    if (value > largestValue(width)) {
        throw wrongUsage(quoted(what, text) + " does not fit in " + std::to_string(width) + " bits");
    }
    return value;
}

std::uint32_t parseCount(const std::string& what, const std::string& text, std::uint32_t most) {
    const std::uint32_t count = parseNumber(what, text);
    if (count == 0) {
        throw wrongUsage(quoted(what, text) + " is no positive number");
    }
    if (count > most) {
        throw wrongUsage(quoted(what, text) + " is above " + std::to_string(most));
    }
    return count;
}

std::uint32_t largestValue(unsigned int width) { return UINT32_MAX >> (32U - width); }

std::string hexadecimal(std::uint32_t value, unsigned int width) { return "0x" + hexadecimalDigits(value, width); }

std::string hexadecimalDigits(std::uint32_t value, unsigned int width) {
    std::ostringstream digits;
    digits << std::hex << std::setfill('0') << std::setw(static_cast<int>(width / 4)) << value;
    return digits.str();
}

} // namespace Rynvelctl
