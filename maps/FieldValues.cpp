// SPDX-License-Identifier: MIT
#include "FieldValues.h"

#include <algorithm>
#include <iterator>
#include <optional>

#include "Bits.h"
#include "Count.h"
#include "NearestName.h"
#include "Number.h"
#include "ScaledNumber.h"

namespace Maps {

namespace {

bool isFor(const Enumeration& enumeration, Usage usage) {
    return enumeration.usage == usage || enumeration.usage == Usage::ReadWrite;
}

/** Returns the first enumerated value for a usage that meets the condition; null if there is none. */
template <typename Condition>
const EnumeratedValue* firstValue(const Field& field, Usage usage, const Condition& condition) {
    for (const Enumeration& enumeration : field.enumerations) {
        const EnumeratedValue* const found =
            isFor(enumeration, usage) ? std::find_if(enumeration.values.begin(), enumeration.values.end(), condition)
                                      : enumeration.values.end();
        if (found != enumeration.values.end()) {
            return found;
        }
    }
    return nullptr;
}

/** Returns the enumerated value that names a number for a usage, or else the default; null if there is none. */
const EnumeratedValue* nameOf(const Field& field, Usage usage, std::uint64_t number) {
    const EnumeratedValue* const exact = firstValue(field, usage, [number](const EnumeratedValue& each) {
        return !each.isDefault && (number & each.mask) == each.value;
    });
    return exact != nullptr ? exact
                            : firstValue(field, usage, [](const EnumeratedValue& each) { return each.isDefault; });
}

unsigned int widthOf(const Field& field) { return field.msb - field.lsb + 1; }

std::string quoted(const std::string& text) { return "'" + text + "'"; }

/** Returns the possible forms of a field value as a list, such as "a number, off or on". */
std::string choicesOf(std::vector<std::string> names) {
    names.insert(names.begin(), "a number");
    return Common::alternatives(names);
}

/** Returns the number that a text represents; none if the number does not fit in 64 bits. */
std::optional<std::uint64_t> numberIn(const std::string& text) {
    const auto narrow = Common::parseNumber(text, Common::anyNotation);
    return narrow ? std::optional<std::uint64_t>(*narrow) : parseScaledNumber(text);
}

/** Returns whether the name of a value is also a number that differs from the value. */
bool isAmbiguous(const EnumeratedValue& value) {
    return Common::isNumber(value.name, Common::anyNotation) && numberIn(value.name) != value.value;
}

/** Returns whether the name of a value for reading is also a number, but does not select exactly this number. */
bool isAmbiguousToRead(const Field& field, const EnumeratedValue& value) {
    const bool hasOneNumber = !value.isDefault && (highestOf(field) & ~value.mask) == 0;
    return Common::isNumber(value.name, Common::anyNotation) && !(hasOneNumber && numberIn(value.name) == value.value);
}

std::string bitsText(const Field& field) { return Common::counted(widthOf(field), "bit"); }

std::string alsoANumber(const EnumeratedValue& value) {
    return ": " + quoted(value.name) + " is a number and also the name of ";
}

constexpr const char* numberHint = " (give the value with 0x or 0b)";

/**
 * Returns the number that a text represents.
 *
 * @param names the names that the error message offers.
 * @throws RefusedValue if the text is not a number that fits in the field, or if a leading zero makes it ambiguous.
 */
std::uint64_t fittingNumber(const Field& field, const std::string& object, const std::string& text,
                            const std::vector<std::string>& names) {
    if (!Common::isNumber(text, Common::anyNotation)) {
        throw RefusedValue(object + ": " + quoted(text) + " is not a value of the field (give " + choicesOf(names) +
                           ')');
    }
    const std::string hint = Common::hintForLeadingZero(text);
    if (!hint.empty()) {
        throw RefusedValue(object + ": " + quoted(text) + " is ambiguous (" + hint + ')');
    }
    const auto number = numberIn(text);
    if (!number || *number > highestOf(field)) {
        throw RefusedValue(object + ": " + quoted(text) + " does not fit in " + bitsText(field));
    }
    const std::string_view digits = Common::withoutLeadingZeros(text);
    if (!digits.empty()) {
        throw RefusedValue(object + ": " + quoted(text) + " is ambiguous (write " + std::string(digits) + ')');
    }
    return *number;
}

constexpr const char* onlyAsRead = " may be written only with the value that was read (leave it unchanged)";

bool hasUsableName(const EnumeratedValue& value) { return !value.name.empty() && !isAmbiguous(value); }

/** Returns the enumerated values that may be written to a field. Gives the number of a value without a usable name. */
std::vector<std::string> enumeratedChoices(const Field& field) {
    std::vector<std::string> choices;
    for (const EnumeratedValue& value : valuesToWrite(field)) {
        if (value.value <= highestOf(field)) {
            choices.push_back(hasUsableName(value) ? value.name : std::to_string(value.value));
        }
    }
    return choices;
}

/** Returns the values that a constraint allows, for the end of a message. */
std::string allowedBy(const WriteConstraint& constraint, const Field& field) {
    if (constraint.kind == WriteConstraint::Kind::Range) {
        return "write " + std::to_string(constraint.minimum) + " to " + std::to_string(constraint.maximum);
    }
    const std::vector<std::string> choices = enumeratedChoices(field);
    return choices.empty() ? "the field has no enumerated values for writing"
                           : "write " + Common::alternatives(choices);
}

/** Returns the reason why a field does not allow a number; empty if it does. @param text the number for the message. */
std::string reasonToRefuse(const Field& field, std::uint64_t number, const std::string& text) {
    if (!field.writeConstraint) {
        return "";
    }
    const WriteConstraint& constraint = *field.writeConstraint;
    if (constraint.kind == WriteConstraint::Kind::WriteAsRead) {
        return onlyAsRead;
    }
    const bool isAllowed = constraint.kind == WriteConstraint::Kind::EnumeratedValues
                               ? nameOf(field, Usage::Write, number) != nullptr
                               : Maps::isAllowed(constraint, number);
    return isAllowed ? "" : ": value " + text + " is not allowed (" + allowedBy(constraint, field) + ')';
}

/** Returns whether the write constraint of a field applies to a write. The field must be inside its register. */
bool isConstrained(const Field& field, const MaskedValue& written) {
    const std::uint64_t bits = maskOf(field);
    if (field.writeConstraint && field.writeConstraint->kind == WriteConstraint::Kind::WriteAsRead) {
        return (bits & written.mask) != 0;
    }
    return (bits & ~written.mask) == 0 && neutralValue(field.modifiedWrite, bits) != (written.value & bits);
}

/** Returns the field with this name. @throws RefusedValue if the register has no field with this name. */
const Field& fieldOf(const LocatedRegister& located, const std::string& name) {
    const Field* const field = findField(*located.contents, name);
    if (field == nullptr) {
        std::vector<std::string> names;
        for (const Field& each : located.contents->fields) {
            names.push_back(each.name);
        }
        const std::string question = Common::didYouMean(similarTo(name, names));
        const std::string choices =
            names.empty() ? "the register has no fields" : "give " + Common::alternatives(names);
        throw RefusedValue(nameWithKind(located) + " has no field " + quoted(name) + " (" +
                           (question.empty() ? choices : question) + ')');
    }
    return *field;
}

/** Returns the enumerated value for writing that has a name; null if there is none. */
const EnumeratedValue* valueToWrite(const Field& field, const std::string& name) {
    return firstValue(field, Usage::Write, [&name](const EnumeratedValue& each) {
        return !each.isDefault && !name.empty() && each.name == name;
    });
}

/** A field that gets a value. */
class AssignedField {
public:
    AssignedField(const LocatedRegister& located, const Field& field)
        : m_field(field), m_object(nameWithKind(located, m_field)) {
        requireWritable(located, field);
    }

    std::string refusal(const std::string& problem) const { return m_object + problem; }

    std::uint64_t numberOf(const FieldAssignment& assignment) const {
        return assignment.number ? checked(*assignment.number) : checked(assignment.value);
    }

    /** @throws RefusedValue if the field shares a bit with one of `others`, or is one of them. */
    void requireApartFrom(const std::vector<const Field*>& others) const {
        for (const Field* const other : others) {
            if (other == &m_field) {
                throw RefusedValue(refusal(" is assigned twice (assign it once)"));
            }
            if ((maskOf(*other) & maskOf(m_field)) != 0) {
                throw RefusedValue(
                    refusal(" overlaps field " + other->name + ", which is also assigned (assign only one of them)"));
            }
        }
    }

private:
    std::uint64_t checked(const std::string& text) const {
        const std::uint64_t number = parse(text);
        requireAllowedNumber(number, quoted(text));
        return number;
    }

    std::uint64_t checked(std::uint64_t number) const {
        if (number > highestOf(m_field)) {
            throw RefusedValue(refusal(": value " + std::to_string(number) + " does not fit in " + bitsText(m_field)));
        }
        requireAllowedNumber(number, std::to_string(number));
        return number;
    }

    /** @param text the number in the message. */
    void requireAllowedNumber(std::uint64_t number, const std::string& text) const {
        const std::string reason = reasonToRefuse(m_field, number, text);
        if (!reason.empty()) {
            throw RefusedValue(refusal(reason));
        }
    }

    std::uint64_t parse(const std::string& text) const {
        // Searches for a name first, because a name may begin with a digit, such as 16k, or have only digits.
        const EnumeratedValue* const value = valueToWrite(m_field, text);
        return value != nullptr ? usableNumberOf(*value)
                                : fittingNumber(m_field, m_object, text, namesToWrite(m_field));
    }

    std::uint64_t usableNumberOf(const EnumeratedValue& named) const {
        if (isAmbiguous(named)) {
            throw RefusedValue(refusal(alsoANumber(named) + "the value " + std::to_string(named.value) + numberHint));
        }
        if (named.value > highestOf(m_field)) {
            throw RefusedValue(
                refusal(": the value of " + quoted(named.name) + " does not fit in " + bitsText(m_field)));
        }
        return named.value;
    }

    const Field& m_field;
    std::string m_object;
};

/** @throws RefusedValue if the write constraint of a field does not allow the value that the field has in a register.
 */
void requireFieldAllowed(const LocatedRegister& located, const Field& field, std::uint64_t registerValue) {
    const std::uint64_t number = decode(field, registerValue).value;
    const std::string reason = reasonToRefuse(field, number, std::to_string(number));
    if (!reason.empty()) {
        throw RefusedValue(nameWithKind(located, field) + reason);
    }
}

/** Returns whether a mask has some of the bits, but not all. */
bool selectsPart(std::uint64_t mask, std::uint64_t bits) { return (mask & bits) != 0 && (bits & ~mask) != 0; }

bool hasRange(const Register& aRegister) {
    return aRegister.writeConstraint && aRegister.writeConstraint->kind == WriteConstraint::Kind::Range;
}

template <typename Condition>
bool hasFieldInside(const Register& aRegister, const Condition& condition) {
    return std::any_of(aRegister.fields.begin(), aRegister.fields.end(),
                       [&](const Field& field) { return isInside(field, aRegister) && condition(field); });
}

} // namespace

std::string nameWithKind(const LocatedRegister& located) { return "register " + located.name; }

std::string nameWithKind(const LocatedRegister& located, const Field& field) {
    return "field " + located.name + '.' + field.name;
}

bool isInside(const Field& field, const Register& aRegister) { return field.msb < std::min(aRegister.size, widest); }

std::uint64_t highestOf(const Field& field) { return lowBits(widthOf(field)); }

std::uint64_t maskOf(const Field& field) { return highestOf(field) << field.lsb; }

std::vector<const Field*> fieldsFromTheTop(const Register& aRegister) {
    std::vector<const Field*> fields;
    std::transform(aRegister.fields.begin(), aRegister.fields.end(), std::back_inserter(fields),
                   [](const Field& field) { return &field; });
    std::stable_sort(fields.begin(), fields.end(), [](const Field* a, const Field* b) { return a->msb > b->msb; });
    return fields;
}

std::uint64_t bitsOf(const Register& aRegister) { return lowBits(aRegister.size); }

bool isReadable(const Register& aRegister) {
    return isReadable(aRegister.access) ||
           hasFieldInside(aRegister, [](const Field& field) { return isReadable(field.access); });
}

bool isWritable(const Register& aRegister) {
    return isWritable(aRegister.access) ||
           hasFieldInside(aRegister, [](const Field& field) { return isWritable(field.access); });
}

bool isAllowed(const WriteConstraint& constraint, std::uint64_t value) {
    return constraint.kind != WriteConstraint::Kind::Range ||
           (value >= constraint.minimum && value <= constraint.maximum);
}

std::vector<EnumeratedValue> valuesToWrite(const Field& field) {
    std::vector<EnumeratedValue> values;
    for (const Enumeration& enumeration : field.enumerations) {
        if (isFor(enumeration, Usage::Write)) {
            std::copy_if(enumeration.values.begin(), enumeration.values.end(), std::back_inserter(values),
                         [](const EnumeratedValue& value) { return !value.isDefault; });
        }
    }
    return values;
}

std::vector<std::string> namesToWrite(const Field& field) {
    std::vector<std::string> names;
    for (const EnumeratedValue& value : valuesToWrite(field)) {
        if (hasUsableName(value)) {
            names.push_back(value.name);
        }
    }
    return names;
}

FieldValue decode(const Field& field, std::uint64_t registerValue, Usage usage) {
    const std::uint64_t value = registerValue >> field.lsb & highestOf(field);
    return {&field, value, nameOf(field, usage, value)};
}

std::vector<FieldValue> decode(const Register& aRegister, std::uint64_t registerValue) {
    std::vector<FieldValue> values;
    for (const Field* const field : fieldsFromTheTop(aRegister)) {
        if (isReadable(field->access) && isInside(*field, aRegister)) {
            values.push_back(decode(*field, registerValue));
        }
    }
    return values;
}

std::vector<std::string> namesToRead(const Field& field) {
    std::vector<std::string> names;
    for (const Enumeration& enumeration : field.enumerations) {
        for (const EnumeratedValue& value : enumeration.values) {
            if (isFor(enumeration, Usage::Read) && !value.name.empty() && !isAmbiguousToRead(field, value)) {
                names.push_back(value.name);
            }
        }
    }
    return names;
}

void requireWritable(const LocatedRegister& located, const Field& field) {
    if (!isWritable(field.access)) {
        throw RefusedValue(nameWithKind(located, field) + " is read-only");
    }
    if (!isInside(field, *located.contents)) {
        throw RefusedValue(nameWithKind(located, field) + " is outside the " +
                           Common::counted(located.contents->size, "bit") + " of its register");
    }
}

const Field& findWritable(const LocatedRegister& located, const std::string& name) {
    const Field& field = fieldOf(located, name);
    requireWritable(located, field);
    return field;
}

bool FieldPattern::matches(const FieldValue& value) const {
    return name.empty() ? value.value == number : value.name != nullptr && value.name->name == name;
}

FieldPattern parsePattern(const LocatedRegister& located, const Field& field, const std::string& text) {
    const EnumeratedValue* const value =
        firstValue(field, Usage::Read, [&text](const EnumeratedValue& each) { return each.name == text; });
    if (value == nullptr) {
        return {fittingNumber(field, nameWithKind(located, field), text, namesToRead(field)), ""};
    }
    if (isAmbiguousToRead(field, *value)) {
        throw RefusedValue(nameWithKind(located, field) + alsoANumber(*value) + "other values" + numberHint);
    }
    return {0, text};
}

std::vector<FieldAssignment> findFields(const LocatedRegister& located, const std::vector<Assignment>& assignments) {
    std::vector<FieldAssignment> found;
    found.reserve(assignments.size());
    for (const Assignment& assignment : assignments) {
        found.push_back({&fieldOf(located, assignment.field), assignment.value});
    }
    return found;
}

std::optional<std::uint64_t> numberToWrite(const Field& field, const std::string& name) {
    const EnumeratedValue* const value = valueToWrite(field, name);
    return value == nullptr ? std::nullopt : std::optional<std::uint64_t>(value->value);
}

MaskedValue encode(const LocatedRegister& located, const std::vector<FieldAssignment>& assignments) {
    MaskedValue result;
    std::vector<const Field*> earlier;
    for (const FieldAssignment& assignment : assignments) {
        const Field& field = *assignment.field;
        const AssignedField assigned(located, field);
        const std::uint64_t number = assigned.numberOf(assignment);
        assigned.requireApartFrom(earlier);
        earlier.push_back(&field);
        result.value |= number << field.lsb;
        result.mask |= maskOf(field);
    }
    return result;
}

std::optional<std::uint64_t> neutralValue(ModifiedWrite modifiedWrite, std::uint64_t bits) {
    switch (modifiedWrite) {
    case ModifiedWrite::OneToClear:
    case ModifiedWrite::OneToSet:
    case ModifiedWrite::OneToToggle:
        return 0;
    case ModifiedWrite::ZeroToClear:
    case ModifiedWrite::ZeroToSet:
    case ModifiedWrite::ZeroToToggle:
        return bits;
    case ModifiedWrite::Clear:
    case ModifiedWrite::Set:
    case ModifiedWrite::Modify:
        return std::nullopt;
    }
    return std::nullopt;
}

void requireInRange(const LocatedRegister& located, const MaskedValue& written) {
    const auto& constraint = located.contents->writeConstraint;
    const std::uint64_t lowest = written.value & written.mask;
    const std::uint64_t highest = lowest | (bitsOf(*located.contents) & ~written.mask);
    if (hasRange(*located.contents) && (lowest > constraint->maximum || highest < constraint->minimum)) {
        throw RefusedValue(nameWithKind(located) + ": value " + std::to_string(lowest) + " is not allowed (write " +
                           std::to_string(constraint->minimum) + " to " + std::to_string(constraint->maximum) + ')');
    }
}

void requireAllowed(const LocatedRegister& located, const MaskedValue& written) {
    const Register& contents = *located.contents;
    const std::uint64_t bits = bitsOf(contents);
    if ((written.value & ~bits) != 0) {
        throw RefusedValue(nameWithKind(located) + ": value " + std::to_string(written.value) + " does not fit in " +
                           Common::counted(contents.size, "bit"));
    }
    if (contents.writeConstraint && contents.writeConstraint->kind == WriteConstraint::Kind::WriteAsRead) {
        throw RefusedValue(nameWithKind(located) + onlyAsRead);
    }
    requireInRange(located, written);
    for (const Field& field : contents.fields) {
        if (isWritable(field.access) && isInside(field, contents) && isConstrained(field, written)) {
            requireFieldAllowed(located, field, written.value);
        }
    }
}

bool dependsOnOtherBits(const LocatedRegister& located, std::uint64_t mask) {
    const Register& contents = *located.contents;
    return (hasRange(contents) && selectsPart(mask, bitsOf(contents))) ||
           hasFieldInside(contents, [mask](const Field& field) {
               return isWritable(field.access) && field.writeConstraint && selectsPart(mask, maskOf(field));
           });
}

void requireResultAllowed(const LocatedRegister& located, const MaskedValue& written, std::uint64_t before) {
    const Register& contents = *located.contents;
    const std::uint64_t bits = bitsOf(contents);
    const MaskedValue result{((before & ~written.mask) | (written.value & written.mask)) & bits, bits};
    requireInRange(located, result);
    for (const Field& field : contents.fields) {
        const bool isWritten =
            isWritable(field.access) && isInside(field, contents) && (maskOf(field) & written.mask) != 0;
        if (isWritten && isConstrained(field, result)) {
            requireFieldAllowed(located, field, result.value);
        }
    }
}

} // namespace Maps
