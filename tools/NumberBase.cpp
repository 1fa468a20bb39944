// SPDX-License-Identifier: MIT
#include "NumberBase.h"

#include "Failure.h"
#include "NumberArguments.h"

namespace Rynvelctl {

namespace {

constexpr unsigned int bitsPerDigit = 4;

std::string binaryDigits(std::uint64_t value, unsigned int width) {
    std::string digits(width, '0');
    for (auto digit = digits.rbegin(); digit != digits.rend(); ++digit, value >>= 1U) {
        *digit = (value & 1U) == 0 ? '0' : '1';
    }
    return digits;
}

std::string inBase(NumberBase base, std::uint64_t value, unsigned int width) {
    switch (base) {
    case NumberBase::Binary:
        return "0b" + binaryDigits(value, width);
    case NumberBase::Decimal:
        return std::to_string(value);
    default:
        return hexadecimal(value, width);
    }
}

/** Rounds a width in bits up to whole hexadecimal digits. */
unsigned int wholeDigits(unsigned int width) { return (width + bitsPerDigit - 1) / bitsPerDigit * bitsPerDigit; }

} // namespace

NumberBase parseBase(const std::string& text) {
    for (const NumberBase base : {NumberBase::Binary, NumberBase::Decimal, NumberBase::Hexadecimal}) {
        if (text == std::to_string(static_cast<int>(base))) {
            return base;
        }
    }
    throw usageError("--base: '" + text + "' is not a base (2, 10 or 16)");
}

std::string registerText(std::uint64_t value, unsigned int bits, GivenBase base) {
    return inBase(base.value_or(NumberBase::Hexadecimal), value, bits);
}

std::string registerColumn(std::uint64_t value, unsigned int bits, GivenBase base) {
    switch (base.value_or(NumberBase::Hexadecimal)) {
    case NumberBase::Binary:
        return binaryDigits(value, bits);
    case NumberBase::Decimal: {
        const std::string digits = std::to_string(value);
        return std::string(std::to_string(maxValue(bits)).size() - digits.size(), ' ') + digits;
    }
    default:
        return hexadecimalDigits(value, bits);
    }
}

std::string fieldText(std::uint64_t value, unsigned int width, GivenBase base) {
    return base ? bitsText(value, width, base) : std::to_string(value);
}

std::string bitsText(std::uint64_t value, unsigned int width, GivenBase base) {
    const NumberBase chosen = base.value_or(NumberBase::Hexadecimal);
    return inBase(chosen, value, chosen == NumberBase::Hexadecimal ? wholeDigits(width) : width);
}

} // namespace Rynvelctl
