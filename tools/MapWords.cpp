// SPDX-License-Identifier: MIT
#include "MapWords.h"

#include <cstdint>

#include "FieldValues.h"

namespace Rynvelctl {

namespace {

/** Returns the bits of a value from the highest to the lowest, with an x for each "don't care" bit. */
std::string inBits(const Maps::EnumeratedValue& value, const Maps::Field& field) {
    std::string digits;
    for (std::uint64_t bit = 1; bit != 0 && (bit & Maps::highestOf(field)) != 0; bit <<= 1U) {
        const bool isOpen = (value.mask & bit) == 0;
        digits += isOpen ? 'x' : (value.value & bit) == 0 ? '0' : '1';
    }
    return "0b" + std::string(digits.rbegin(), digits.rend());
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

std::string bitRange(unsigned int msb, unsigned int lsb) {
    return std::to_string(msb) + (msb == lsb ? "" : ':' + std::to_string(lsb));
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

std::string textOf(const Maps::EnumeratedValue& value, const Maps::Field& field) {
    if (value.isDefault) {
        return "others";
    }
    const bool hasOpenBits = (value.mask & Maps::highestOf(field)) != Maps::highestOf(field);
    return hasOpenBits ? inBits(value, field) : std::to_string(value.value);
}

} // namespace Rynvelctl
