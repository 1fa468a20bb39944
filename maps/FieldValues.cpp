// SPDX-License-Identifier: MIT
#include "FieldValues.h"

#include <algorithm>
#include <optional>

#include "NearestName.h"
#include "ScaledNumber.h"

namespace Maps {

namespace {

constexpr unsigned int widest = 64;

std::uint64_t highestOf(const Field& field) {
    const unsigned int width = field.msb - field.lsb + 1;
    return width == widest ? UINT64_MAX : (std::uint64_t{1} << width) - 1;
}

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

std::string quoted(const std::string& text) { return "'" + text + "'"; }

template <typename Names>
std::string listOf(const Names& names) {
    std::string list;
    for (const std::string& name : names) {
        list += (list.empty() ? "" : ", ") + name;
    }
    return list;
}

std::vector<std::string> namesToWrite(const Field& field) {
    std::vector<std::string> names;
    for (const Enumeration& enumeration : field.enumerations) {
        for (const EnumeratedValue& value : enumeration.values) {
            if (isFor(enumeration, Usage::Write) && !value.isDefault && !value.name.empty()) {
                names.push_back(value.name);
            }
        }
    }
    return names;
}

const Field& fieldOf(const Register& aRegister, const std::string& name) {
    std::vector<std::string> names;
    for (const Field& field : aRegister.fields) {
        if (field.name == name) {
            return field;
        }
        names.push_back(field.name);
    }
    const std::string nearest = listOf(Common::nearestNames(name, names));
    throw RefusedValue("register " + quoted(aRegister.name) + " has no field " + quoted(name) +
                       (nearest.empty() ? "" : " (did you mean " + nearest + "?)"));
}

std::uint64_t numberOf(const Field& field, const std::string& text) {
    if (const auto number = parseScaledNumber(text)) {
        return *number;
    }
    const EnumeratedValue* const value = firstValue(
        field, Usage::Write, [&text](const EnumeratedValue& each) { return !each.isDefault && each.name == text; });
    if (value == nullptr) {
        const std::string names = listOf(namesToWrite(field));
        throw RefusedValue("field " + quoted(field.name) + ": " + quoted(text) + " is neither a number nor " +
                           (names.empty() ? "a name, of which it has none" : "one of " + names));
    }
    return value->value;
}

bool isAllowed(const Field& field, std::uint64_t number) {
    if (!field.writeConstraint) {
        return true;
    }
    switch (field.writeConstraint->kind) {
    case WriteConstraint::Kind::WriteAsRead:
        return true;
    case WriteConstraint::Kind::EnumeratedValues:
        return nameOf(field, Usage::Write, number) != nullptr;
    case WriteConstraint::Kind::Range:
        return number >= field.writeConstraint->minimum && number <= field.writeConstraint->maximum;
    }
    return true;
}

void requireWritable(const Field& field, const Register& aRegister) {
    if (!isWritable(field.access)) {
        throw RefusedValue("field " + quoted(field.name) + " is read-only");
    }
    if (!isInside(field, aRegister)) {
        throw RefusedValue("field " + quoted(field.name) + " is outside of the " + std::to_string(aRegister.size) +
                           " bits of its register");
    }
}

void requireAllowed(const Field& field, std::uint64_t number, const std::string& text) {
    if (number > highestOf(field)) {
        throw RefusedValue("field " + quoted(field.name) + ": " + quoted(text) + " does not fit in " +
                           std::to_string(field.msb - field.lsb + 1) + " bits");
    }
    if (!isAllowed(field, number)) {
        throw RefusedValue("field " + quoted(field.name) + ": " + quoted(text) + " is not a value that may be written");
    }
}

} // namespace

bool isInside(const Field& field, const Register& aRegister) { return field.msb < std::min(aRegister.size, widest); }

std::uint64_t maskOf(const Field& field) { return highestOf(field) << field.lsb; }

FieldValue decode(const Field& field, std::uint64_t registerValue) {
    const std::uint64_t value = registerValue >> field.lsb & highestOf(field);
    return {&field, value, nameOf(field, Usage::Read, value)};
}

std::vector<FieldValue> decode(const Register& aRegister, std::uint64_t registerValue) {
    std::vector<FieldValue> values;
    for (const Field& field : aRegister.fields) {
        if (isReadable(field.access) && isInside(field, aRegister)) {
            values.push_back(decode(field, registerValue));
        }
    }
    std::stable_sort(values.begin(), values.end(),
                     [](const FieldValue& a, const FieldValue& b) { return a.field->msb > b.field->msb; });
    return values;
}

MaskedValue encode(const Register& aRegister, const std::vector<Assignment>& assignments) {
    MaskedValue result;
    for (const Assignment& assignment : assignments) {
        const Field& field = fieldOf(aRegister, assignment.field);
        requireWritable(field, aRegister);
        const std::uint64_t number = numberOf(field, assignment.value);
        requireAllowed(field, number, assignment.value);
        if ((result.mask & maskOf(field)) != 0) {
            throw RefusedValue("field " + quoted(field.name) + " is assigned twice, or overlaps another one");
        }
        result.value |= number << field.lsb;
        result.mask |= maskOf(field);
    }
    return result;
}

} // namespace Maps
