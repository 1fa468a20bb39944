// SPDX-License-Identifier: MIT
#include "MapWords.h"

#include <algorithm>
#include <iomanip>
#include <sstream>

#include "DeviceName.h"

namespace Rynvelctl {

namespace {

std::string inBits(const Maps::EnumeratedValue& value, unsigned int bits) {
    std::string text = "0b";
    for (unsigned int bit = bits; bit-- > 0;) {
        const bool isOpen = (value.mask >> bit & 1U) == 0;
        text += isOpen ? "x" : (value.value >> bit & 1U) == 0 ? "0" : "1";
    }
    return text;
}

} // namespace

std::string wordsFor(Maps::Access access) {
    switch (access) {
    case Maps::Access::ReadOnly:
        return "read-only";
    case Maps::Access::WriteOnly:
        return "write-only";
    case Maps::Access::ReadWrite:
        return "read-write";
    case Maps::Access::WriteOnce:
        return "write-once";
    default:
        return "read-write-once";
    }
}

std::string wordFor(Maps::ReadAction action) {
    switch (action) {
    case Maps::ReadAction::Clear:
        return "clear";
    case Maps::ReadAction::Set:
        return "set";
    case Maps::ReadAction::Modify:
        return "modify";
    default:
        return "modifyExternal";
    }
}

std::string wordFor(Maps::ModifiedWrite modification) {
    switch (modification) {
    case Maps::ModifiedWrite::OneToClear:
        return "oneToClear";
    case Maps::ModifiedWrite::OneToSet:
        return "oneToSet";
    case Maps::ModifiedWrite::OneToToggle:
        return "oneToToggle";
    case Maps::ModifiedWrite::ZeroToClear:
        return "zeroToClear";
    case Maps::ModifiedWrite::ZeroToSet:
        return "zeroToSet";
    case Maps::ModifiedWrite::ZeroToToggle:
        return "zeroToToggle";
    case Maps::ModifiedWrite::Clear:
        return "clear";
    case Maps::ModifiedWrite::Set:
        return "set";
    default:
        return "modify";
    }
}

std::string wordFor(Maps::Usage usage) {
    switch (usage) {
    case Maps::Usage::Read:
        return "read";
    case Maps::Usage::Write:
        return "write";
    default:
        return "read-write";
    }
}

std::uint64_t onesBelow(unsigned int bits) {
    constexpr unsigned int widest = 64;
    return bits >= widest ? UINT64_MAX : (std::uint64_t{1} << bits) - 1;
}

std::string bitRange(unsigned int msb, unsigned int lsb) {
    return std::to_string(msb) + (msb == lsb ? "" : ':' + std::to_string(lsb));
}

std::string hexadecimalOf(std::uint64_t value, unsigned int bits) {
    constexpr unsigned int bitsOfDigit = 4;
    std::ostringstream text;
    text << "0x" << std::hex << std::setfill('0') << std::setw(static_cast<int>((bits + bitsOfDigit - 1) / bitsOfDigit))
         << value;
    return text.str();
}

std::string wordsFor(const Maps::WriteConstraint& constraint) {
    switch (constraint.kind) {
    case Maps::WriteConstraint::Kind::WriteAsRead:
        return "the value that was read";
    case Maps::WriteConstraint::Kind::EnumeratedValues:
        return "the values with a name";
    default:
        return std::to_string(constraint.minimum) + " to " + std::to_string(constraint.maximum);
    }
}

std::string textOf(const Maps::EnumeratedValue& value, unsigned int bits) {
    if (value.isDefault) {
        return "others";
    }
    const bool hasOpenBits = (value.mask & onesBelow(bits)) != onesBelow(bits);
    return hasOpenBits ? inBits(value, bits) : std::to_string(value.value);
}

std::string printable(std::string text) {
    std::replace_if(text.begin(), text.end(), Common::isControlCharacter, '?');
    return text;
}

} // namespace Rynvelctl
