// SPDX-License-Identifier: MIT
#include "FieldWrite.h"

#include <algorithm>
#include <optional>

namespace Maps {

namespace {

bool isConcerned(const Field& field, const Register& aRegister) {
    return isWritable(field.access) && isInside(field, aRegister);
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

/** Plans one write, including the fields that it does not assign. */
class Plan {
public:
    Plan(const LocatedRegister& located, const MaskedValue& assigned, const Remedy& remedy)
        : m_located(located), m_assigned(assigned), m_remedy(remedy) {}

    /** Returns the bits to write. */
    MaskedValue written() const {
        MaskedValue written = m_assigned;
        for (const Field& field : contents().fields) {
            if (isConcerned(field, contents())) {
                keep(written, field.modifiedWrite, maskOf(field));
            }
        }
        keep(written, contents().modifiedWrite, bitsOf(contents()) & ~bitsOfFields());
        return written;
    }

    /** Returns whether all writable fields are assigned. */
    bool isComplete() const { return otherFields().empty(); }

    /** @throws RefusedValue if the register cannot be read for the values of the other fields. */
    void requireReadable(bool hasReadEffect) const {
        if (!isReadable(contents().access)) {
            throw RefusedValue(
                refusal("register " + m_located.name + " is write-only, so its other fields cannot keep their values",
                        otherFields()));
        }
        if (hasReadEffect) {
            throw RefusedValue(refusal("reading register " + m_located.name +
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
                refusal("field " + m_located.name + '.' + lost.front()->name + ' ' + reasonFor(*lost.front()), lost));
        }
    }

private:
    const Register& contents() const { return *m_located.contents; }

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

    std::uint64_t bitsOfFields() const {
        std::uint64_t bits = 0;
        for (const Field& field : contents().fields) {
            bits |= isInside(field, contents()) ? maskOf(field) : 0;
        }
        return bits;
    }

    /** @param fields those that the user must also write. */
    std::string refusal(const std::string& problem, const std::vector<const Field*>& fields) const {
        std::string names;
        for (const Field* const field : fields) {
            names += (names.empty() ? "" : ", ") + field->name;
        }
        return problem + " (" + m_remedy.before + names + m_remedy.after + ")";
    }

    const LocatedRegister& m_located;
    const MaskedValue& m_assigned;
    const Remedy& m_remedy;
};

/** @throws RefusedValue if a register without fields cannot keep the bits outside a mask. */
void requireOtherBitsKept(const LocatedRegister& located, std::uint64_t mask) {
    const Register& contents = *located.contents;
    if (contents.fields.empty() && (bitsOf(contents) & ~mask) != 0 &&
        !reasonToChange(contents.access, contents.modifiedWrite).empty()) {
        throw RefusedValue("register " + located.name +
                           ": the bits outside the mask cannot keep their values (leave out the mask)");
    }
}

} // namespace

bool hasReadEffect(const Register& aRegister) {
    return aRegister.readAction || std::any_of(aRegister.fields.begin(), aRegister.fields.end(),
                                               [](const Field& field) { return field.readAction.has_value(); });
}

FieldWrite planWrite(const LocatedRegister& located, const std::vector<Assignment>& assignments, bool hasReadEffect) {
    const Register& contents = *located.contents;
    FieldWrite write;
    write.assigned = encode(located, assignments);
    const Plan plan(located, write.assigned, byAssignment);
    if (!plan.isComplete()) {
        plan.requireReadable(hasReadEffect);
    }
    plan.requireKept();
    write.written = plan.written();
    write.isWhole = write.written.mask == bitsOf(contents) || !isReadable(contents.access) || hasReadEffect;
    requireInRange(located, {write.written.value, write.isWhole ? UINT64_MAX : write.written.mask});
    for (const Assignment& assignment : assignments) {
        write.fields.push_back(decode(*findField(contents, assignment.field), write.assigned.value, Usage::Write));
    }
    return write;
}

MaskedValue planMaskedWrite(const LocatedRegister& located, const MaskedValue& selected) {
    const Plan plan(located, selected, byMask);
    plan.requireKept();
    requireOtherBitsKept(located, selected.mask);
    const MaskedValue written = plan.written();
    requireInRange(located, written);
    return written;
}

} // namespace Maps
