// SPDX-License-Identifier: MIT
/**
 * @file
 * The value of a register as the values of its fields, and back.
 */
#ifndef RYNVEL_MAPS_FIELDVALUES_H
#define RYNVEL_MAPS_FIELDVALUES_H

#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

#include "Model.h"
#include "RegisterName.h"

namespace Maps {

/** Whether all bits of a field are in its register, and in 64 bits: any other field can be neither read nor written. */
bool isInside(const Field& field, const Register& aRegister);

/** The bits of a field that is inside of its register. */
std::uint64_t maskOf(const Field& field);

/** The bits of a register, up to 64. */
std::uint64_t bitsOf(const Register& aRegister);

struct FieldValue {
    const Field* field = nullptr;
    std::uint64_t value = 0;
    /** The name for the value; null without one. */
    const EnumeratedValue* name = nullptr;
};

/** The value of a field that is inside of its register. @param usage selects the names for reading or for writing. */
FieldValue decode(const Field& field, std::uint64_t registerValue, Usage usage = Usage::Read);

/** The values of all readable fields inside of a register, from the highest bit to the lowest. */
std::vector<FieldValue> decode(const Register& aRegister, std::uint64_t registerValue);

/**
 * Whether a constraint allows a value: false outside of a range, and true for the kinds that depend on more than the
 * value.
 */
bool isAllowed(const WriteConstraint& constraint, std::uint64_t value);

/** What a user wants in a field: a number that is decimal, hexadecimal or binary, or a name for one. */
struct Assignment {
    std::string field;
    std::string value;
};

/** A masked write. */
struct MaskedValue {
    std::uint64_t value = 0;
    std::uint64_t mask = 0;
};

/** Says why a value cannot be written; begins with what is at fault. */
class RefusedValue : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/**
 * The masked write that gives fields their values.
 *
 * @throws RefusedValue for a field that is unknown, named twice, read-only or outside of the register, for a name that
 * the field does not have for writing, and for a value that does not fit or breaks the field's write constraint.
 */
MaskedValue encode(const PlacedRegister& place, const std::vector<Assignment>& assignments);

} // namespace Maps

#endif
