// SPDX-License-Identifier: MIT
#include "FieldWrite.h"

#include <algorithm>
#include <optional>

namespace Maps {

namespace {

bool isConcerned(const Field& field, const Register& aRegister) {
    return isWritable(field.access) && isInside(field, aRegister);
}

/** Returns the bits of the fields that meet a condition. */
template <typename Condition>
std::uint64_t bitsOfFields(const Register& contents, const Condition& condition) {
    std::uint64_t bits = 0;
    for (const Field& field : contents.fields) {
        bits |= isInside(field, contents) && condition(field) ? maskOf(field) : 0;
    }
    return bits;
}

std::uint64_t bitsOfFields(const Register& contents) {
    return bitsOfFields(contents, [](const Field&) { return true; });
}

/** Returns why a masked write may change bits of this kind that it does not assign; empty if it does not change them.
 */
std::string reasonToChange(Access access, ModifiedWrite modifiedWrite) {
    if (neutralValue(modifiedWrite, 0)) {
        return "";
    }
    if (modifiedWrite != ModifiedWrite::Modify) {
        return "changes with every write to its register";
    }
    if (!isReadable(access)) {
        return "is write-only, so it cannot keep its value";
    }
    return access == Access::ReadWriteOnce ? "can be written only once, and this write would use that up" : "";
}

/** What a user may do about other fields: the text before their names, and the one after. */
struct Remedy {
    const char* before;
    const char* after;
};

constexpr Remedy byAssignment{"also assign ", ""};
constexpr Remedy byMask{"also select all bits of ", " with the mask"};
constexpr Remedy byWrite{"use write, and also give values for ", ""};

constexpr const char* notStored = "does not store what is written (give a value with write)";

/** Plans one write, including the fields that it does not assign. */
class Plan {
public:
    Plan(const LocatedRegister& place, const MaskedValue& assigned, const Remedy& remedy)
        : m_place(place), m_assigned(assigned), m_remedy(remedy) {}

    /** Returns the bits to write. */
    MaskedValue written() const {
        MaskedValue written = m_assigned;
        for (const Field& field : contents().fields) {
            if (isConcerned(field, contents())) {
                keep(written, field.modifiedWrite, maskOf(field));
            }
        }
        keep(written, contents().modifiedWrite, bitsOf(contents()) & ~bitsOfFields(contents()));
        return written;
    }

    /** Returns whether all writable fields are assigned. */
    bool isComplete() const { return otherFields().empty(); }

    /** @throws RefusedValue if the register cannot be read for the values of the other fields. */
    void requireReadable(bool hasReadEffect) const {
        if (!isReadable(contents().access)) {
            throw RefusedValue(
                refusal("register " + m_place.name + " is write-only, so its other fields cannot keep their values",
                        otherFields()));
        }
        if (hasReadEffect) {
            throw RefusedValue(refusal("reading register " + m_place.name +
                                           " has a side effect, so its other fields cannot keep their values",
                                       otherFields()));
        }
    }

    /** @throws RefusedValue if another field cannot keep its value although the register can be read. */
    void requireKept() const {
        const auto reasonFor = [](const Field& field) { return reasonToChange(field.access, field.modifiedWrite); };
        const std::vector<const Field*> lost =
            otherFields([&reasonFor](const Field& field) { return !reasonFor(field).empty(); });
        if (!lost.empty()) {
            throw RefusedValue(
                refusal("field " + m_place.name + '.' + lost.front()->name + ' ' + reasonFor(*lost.front()), lost));
        }
    }

private:
    const Register& contents() const { return *m_place.contents; }

    std::vector<const Field*> otherFields() const {
        return otherFields([](const Field&) { return true; });
    }

    /** Returns the writable fields that are not assigned completely and meet a condition. */
    template <typename Condition>
    std::vector<const Field*> otherFields(const Condition& condition) const {
        std::vector<const Field*> fields;
        for (const Field& field : contents().fields) {
            if (isConcerned(field, contents()) && (maskOf(field) & ~m_assigned.mask) != 0 && condition(field)) {
                fields.push_back(&field);
            }
        }
        return fields;
    }

    void keep(MaskedValue& written, ModifiedWrite modifiedWrite, std::uint64_t bits) const {
        const std::uint64_t others = bits & ~m_assigned.mask;
        if (const auto value = neutralValue(modifiedWrite, others)) {
            written.value |= *value;
            written.mask |= others;
        }
    }

    /** @param fields those that the user must also write. */
    std::string refusal(const std::string& problem, const std::vector<const Field*>& fields) const {
        std::string names;
        for (const Field* const field : fields) {
            names += (names.empty() ? "" : ", ") + field->name;
        }
        return problem + " (" + m_remedy.before + names + m_remedy.after + ")";
    }

    const LocatedRegister& m_place;
    const MaskedValue& m_assigned;
    const Remedy& m_remedy;
};

/** Returns a field inside the register that has a bit of a mask and meets a condition; null if there is none. */
template <typename Condition>
const Field* findSelected(const Register& contents, std::uint64_t mask, const Condition& condition) {
    const auto found = std::find_if(contents.fields.begin(), contents.fields.end(), [&](const Field& field) {
        return isInside(field, contents) && (maskOf(field) & mask) != 0 && condition(field);
    });
    return found == contents.fields.end() ? nullptr : &*found;
}

[[noreturn]] void refuse(const LocatedRegister& place, const Field& field, const std::string& problem) {
    throw RefusedValue("field " + place.name + '.' + field.name + ' ' + problem);
}

/** @throws RefusedValue if a register without fields cannot keep the bits outside a mask. */
void requireOtherBitsKept(const LocatedRegister& place, std::uint64_t mask, const char* problem) {
    const Register& contents = *place.contents;
    if (contents.fields.empty() && (bitsOf(contents) & ~mask) != 0 &&
        !reasonToChange(contents.access, contents.modifiedWrite).empty()) {
        throw RefusedValue("register " + place.name + ": " + problem);
    }
}

} // namespace

bool hasReadEffect(const Register& aRegister) {
    return aRegister.readAction || std::any_of(aRegister.fields.begin(), aRegister.fields.end(),
                                               [](const Field& field) { return field.readAction.has_value(); });
}

FieldWrite planWrite(const LocatedRegister& place, const std::vector<Assignment>& assignments, bool hasReadEffect) {
    const Register& contents = *place.contents;
    FieldWrite write;
    write.assigned = encode(place, assignments);
    const Plan plan(place, write.assigned, byAssignment);
    if (!plan.isComplete()) {
        plan.requireReadable(hasReadEffect);
    }
    plan.requireKept();
    write.written = plan.written();
    write.isWhole = write.written.mask == bitsOf(contents) || !isReadable(contents.access) || hasReadEffect;
    requireInRange(place, {write.written.value, write.isWhole ? UINT64_MAX : write.written.mask});
    for (const Assignment& assignment : assignments) {
        write.fields.push_back(decode(*findField(contents, assignment.field), write.assigned.value, Usage::Write));
    }
    return write;
}

MaskedValue planMaskedWrite(const LocatedRegister& place, const MaskedValue& selected) {
    const Plan plan(place, selected, byMask);
    plan.requireKept();
    requireOtherBitsKept(place, selected.mask,
                         "the bits outside the mask cannot keep their values (leave out the mask)");
    const MaskedValue written = plan.written();
    requireInRange(place, written);
    return written;
}

void requireOthersKept(const LocatedRegister& place, std::uint64_t mask) {
    const MaskedValue selected{0, mask};
    Plan(place, selected, byWrite).requireKept();
    requireOtherBitsKept(place, mask, "the other bits cannot keep their values (use write without a mask)");
}

void requireStored(const LocatedRegister& place, std::uint64_t mask) {
    const Register& contents = *place.contents;
    const auto isChangeable = [](const Field& field) { return isWritable(field.access); };
    const std::uint64_t readOnly = bitsOfFields(contents) & ~bitsOfFields(contents, isChangeable);
    if (const Field* const field = findSelected(contents, mask & readOnly, [](const Field&) { return true; })) {
        refuse(place, *field, "is read-only");
    }
    const Field* const modified = findSelected(contents, mask, [](const Field& field) {
        return isWritable(field.access) && field.modifiedWrite != ModifiedWrite::Modify;
    });
    if (modified != nullptr) {
        refuse(place, *modified, notStored);
    }
    if ((mask & ~bitsOfFields(contents)) != 0 && contents.modifiedWrite != ModifiedWrite::Modify) {
        throw RefusedValue("register " + place.name + ' ' + notStored);
    }
}

void requireFieldsReadable(const LocatedRegister& place, std::uint64_t mask) {
    const Field* const writeOnly = findSelected(*place.contents, mask, [](const Field& field) {
        return isWritable(field.access) && !isReadable(field.access);
    });
    if (writeOnly != nullptr) {
        refuse(place, *writeOnly, "is write-only");
    }
}

} // namespace Maps
