// SPDX-License-Identifier: MIT
/**
 * @file
 * Converts the value of a register to the values of its fields, and back.
 */
#ifndef RYNVEL_MAPS_FIELDVALUES_H
#define RYNVEL_MAPS_FIELDVALUES_H

#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "Model.h"
#include "RegisterName.h"

namespace Maps {

/**
 * Returns whether all bits of a field are in its register and below bit 64. If not, the field can be neither read nor
 * written.
 */
bool isInside(const Field& field, const Register& aRegister);

/** Returns the highest value of a field, at most the highest value of 64 bits. */
std::uint64_t highestOf(const Field& field);

/** Returns the mask of a field. The field must be inside its register. */
std::uint64_t maskOf(const Field& field);

/** Returns the fields of a register, from the highest bit to the lowest. */
std::vector<const Field*> fieldsFromTheTop(const Register& aRegister);

/** Returns the mask of all bits of a register, up to 64. */
std::uint64_t bitsOf(const Register& aRegister);

/** Returns whether a register or one of the fields inside it can be read. */
bool isReadable(const Register& aRegister);

/** Returns whether a register or one of the fields inside it can be written. */
bool isWritable(const Register& aRegister);

struct FieldValue {
    const Field* field = nullptr;
    std::uint64_t value = 0;
    /** The name of the value; null if the value has none. */
    const EnumeratedValue* name = nullptr;
};

/**
 * Returns the value of a field. The field must be inside its register.
 *
 * @param usage selects the names for reading or for writing.
 */
FieldValue decode(const Field& field, std::uint64_t registerValue, Usage usage = Usage::Read);

/** Returns the values of all readable fields inside the register, from the highest bit to the lowest. */
std::vector<FieldValue> decode(const Register& aRegister, std::uint64_t registerValue);

/**
 * Returns whether the range of a constraint contains a value. Returns true for a constraint that is not a range,
 * because this constraint depends on more than the value.
 */
bool isAllowed(const WriteConstraint& constraint, std::uint64_t value);

/** Returns the enumerated values for writing, except a default, which names all other values. */
std::vector<EnumeratedValue> valuesToWrite(const Field& field);

/**
 * Returns the names of values that an assignment to a field accepts. Leaves out a name that is also a number, unless
 * the number is the value of the name.
 */
std::vector<std::string> namesToWrite(const Field& field);

/**
 * The new value of a field, as the user types it: a decimal, hexadecimal or binary number, or the name of an enumerated
 * value.
 */
struct Assignment {
    std::string field;
    std::string value;
};

/** The new value of a field, with a pointer to the field. */
struct FieldAssignment {
    const Field* field;
    /** The value as in Assignment; ignored if `number` has a value. */
    std::string value;
    /** The value as a number; none if `value` is used. */
    std::optional<std::uint64_t> number = std::nullopt;
};

/** @throws RefusedValue if a write cannot give the field a value: it is read-only, or outside its register. */
void requireWritable(const LocatedRegister& located, const Field& field);

/**
 * Returns the field to which a name refers.
 *
 * @throws RefusedValue if the field is unknown, read-only, or outside its register.
 */
const Field& findWritable(const LocatedRegister& located, const std::string& name);

/** The value to compare a field with: a number, or the name of an enumerated value. */
struct FieldPattern {
    std::uint64_t number = 0;
    /** Empty for a number. */
    std::string name;

    /** @param value the value of the field, with its name for reading. */
    bool matches(const FieldValue& value) const;
};

/** Returns the names of values that parsePattern() accepts. */
std::vector<std::string> namesToRead(const Field& field);

/**
 * Returns the pattern that a text describes.
 *
 * @param text a decimal, hexadecimal or binary number, or the name of an enumerated value for reading. The name may
 * belong to several numbers.
 * @throws RefusedValue if the text is neither, if a number does not fit in the field, or if the text is both a number
 * and a name that selects other numbers.
 */
FieldPattern parsePattern(const LocatedRegister& located, const Field& field, const std::string& text);

/** The value and the mask of a masked write. */
struct MaskedValue {
    std::uint64_t value = 0;
    std::uint64_t mask = 0;
};

/** Thrown if a value cannot be written. what() says why, and begins with the field or register at fault. */
class RefusedValue : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/** Returns the name of the register or field for the beginning of an error message. @{ */
std::string nameWithKind(const LocatedRegister& located);
std::string nameWithKind(const LocatedRegister& located, const Field& field);
/** @} */

/** Returns the fields of a register that assignments name. @throws RefusedValue if a field is unknown. */
std::vector<FieldAssignment> findFields(const LocatedRegister& located, const std::vector<Assignment>& assignments);

/**
 * Returns the number of an enumerated value of a field for writing; none if the field has no value of this name. The
 * name may consist of digits. The default has no number.
 */
std::optional<std::uint64_t> numberToWrite(const Field& field, const std::string& name);

/**
 * Returns the masked write that gives fields their values.
 *
 * @throws RefusedValue in these cases:
 *
 * - A field is read-only, outside its register, or assigned twice, or it overlaps another assigned field.
 * - A value is neither a number nor a name that the field has for writing, or is a number and also the name of a
 *   different number.
 * - A number does not fit in the field, or breaks its write constraint.
 */
MaskedValue encode(const LocatedRegister& located, const std::vector<FieldAssignment>& assignments);

/**
 * Returns the value that a write must have to leave the bits unchanged, whatever the bits contain; none if every value
 * may change the bits.
 */
std::optional<std::uint64_t> neutralValue(ModifiedWrite modifiedWrite, std::uint64_t bits);

/**
 * @throws RefusedValue if the register accepts only a range of values, and all values that the write can result in are
 * below the range, or all are above the range.
 */
void requireInRange(const LocatedRegister& located, const MaskedValue& written);

/**
 * Checks a value that the user gives for a whole register or for masked bits, instead of for fields.
 *
 * @throws RefusedValue if the value does not fit, breaks the write constraint of the register, or breaks the write
 * constraint of a field that is written completely. A value that leaves the field unchanged, such as 0 for oneToClear,
 * breaks only writeAsRead. For writeAsRead, one written bit of the field is enough.
 */
void requireAllowed(const LocatedRegister& located, const MaskedValue& written);

/**
 * Returns whether the bits outside a mask decide if a register accepts a masked write: the register accepts only a
 * range of values and has bits outside the mask, or the mask contains only some bits of a field with a write
 * constraint.
 */
bool dependsOnOtherBits(const LocatedRegister& located, std::uint64_t mask);

/**
 * Checks the value that a register has after a masked write.
 *
 * @param before the value of the register before the write.
 * @throws RefusedValue if the value is outside the range of the register, or if a field with a written bit has a value
 * that its write constraint does not allow.
 */
void requireResultAllowed(const LocatedRegister& located, const MaskedValue& written, std::uint64_t before);

} // namespace Maps

#endif
