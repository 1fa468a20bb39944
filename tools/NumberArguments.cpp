// SPDX-License-Identifier: MIT
#include "NumberArguments.h"

#include "Count.h"
#include "Failure.h"
#include "Number.h"

namespace Rynvelctl {

using Common::anyNotation;

std::uint32_t parseNumber(const std::string& name, const std::string& text) {
    if (!Common::isNumber(text, anyNotation)) {
        throw usageError(name + " '" + text + "' is not a number (decimal, hexadecimal with 0x, or binary with 0b)");
    }
    const std::string hint = Common::hintForLeadingZero(text);
    if (!hint.empty()) {
        throw usageError(name + " '" + text + "' is ambiguous (" + hint + ')');
    }
    const auto number = Common::parseNumber(text, anyNotation);
    if (!number) {
        throw usageError(name + ' ' + text + " does not fit in 32 bits");
    }
    return *number;
}

std::uint32_t parseValue(const std::string& name, const std::string& text, unsigned int width) {
    const std::uint32_t value = parseNumber(name, text);
    if (value > maxValue(width)) {
        throw usageError(name + ' ' + text + " does not fit in " + Common::counted(width, "bit"));
    }
    return value;
}

std::uint32_t parseMask(const std::string& text, unsigned int width) {
    const std::uint32_t mask = parseValue("mask", text, width);
    // A server treats a mask of 0 as a write without a mask.
    if (mask == 0) {
        throw usageError("mask " + text + " selects no bits (set at least one bit)");
    }
    return mask;
}

std::uint32_t parseCount(const std::string& name, const std::string& text, std::uint32_t max) {
    const std::uint32_t count = parseNumber(name, text);
    if (count == 0) {
        throw usageError("the " + name + " must be greater than 0");
    }
    if (count > max) {
        throw usageError(name + ' ' + text + " exceeds the maximum of " + std::to_string(max));
    }
    return count;
}

} // namespace Rynvelctl
