#include "Numbers.h"

#include <iomanip>
#include <sstream>

#include "Failure.h"
#include "Number.h"

namespace Rynvelctl {

namespace {

constexpr Common::NumberFormat everyNotation{true, true};

std::string quoted(const std::string& what, const std::string& text) { return what + " '" + text + "'"; }

} // namespace

std::uint32_t parseNumber(const std::string& what, const std::string& text) {
    if (!Common::isNumber(text, everyNotation)) {
        throw wrongUsage(quoted(what, text) + " is no number (decimal, 0x or 0b)");
    }
    const auto number = Common::parseNumber(text, everyNotation);
    if (!number) {
        throw wrongUsage(quoted(what, text) + " does not fit in 32 bits");
    }
    return *number;
}

std::uint32_t parseValue(const std::string& what, const std::string& text, unsigned int width) {
    const std::uint32_t value = parseNumber(what, text);
    if (value > maxValue(width)) {
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

std::string hexadecimal(std::uint32_t value, unsigned int width) { return "0x" + hexadecimalDigits(value, width); }

std::string hexadecimalDigits(std::uint32_t value, unsigned int width) {
    std::ostringstream digits;
    digits << std::hex << std::setfill('0') << std::setw(static_cast<int>(width / 4)) << value;
    return digits.str();
}

} // namespace Rynvelctl
