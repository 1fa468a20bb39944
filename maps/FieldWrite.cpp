// SPDX-License-Identifier: MIT
#include "FieldWrite.h"

#include <algorithm>
#include <optional>

#include "Bits.h"

namespace Maps {

namespace {

bool isConcerned(const Field& field, const Register& aRegister) {
    return isWritable(field.access) && isInside(field, aRegister);
}

/** Returns the bits of the fields that meet a condition. Leaves out fields outside the register. */
template <typename Condition>
std::uint64_t bitsOfFields(const Register& aRegister, const Condition& condition) {
    std::uint64_t bits = 0;
    for (const Field& field : aRegister.fields) {
        bits |= isInside(field, aRegister) && condition(field) ? maskOf(field) : 0;
    }
    return bits;
}

std::uint64_t bitsOfFields(const Register& aRegister) {
    return bitsOfFields(aRegister, [](const Field&) { return true; });
}

std::uint64_t bitsOfWritableFields(const Register& aRegister) {
    return bitsOfFields(aRegister, [](const Field& field) { return isWritable(field.access); });
}

/**
 * Returns the reason why a write cannot keep unassigned bits with these properties; empty if a write can keep the bits.
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
    return access == Access::ReadWriteOnce ? "can be written only once, and this write would include the field" : "";
}

ModifiedBits modifiedBitsOf(ModifiedWrite modifiedWrite, std::uint64_t bits) {
    if (modifiedWrite == ModifiedWrite::Modify) {
        return {};
    }
    const auto kept = neutralValue(modifiedWrite, bits);
    return kept ? ModifiedBits{bits & ~*kept, *kept, 0} : ModifiedBits{0, 0, bits};
}

/**
 * Returns the bits of a field that cannot keep their values, because other fields or registers that share the bits need
 * different written values.
 */
std::uint64_t contradictions(ModifiedWrite modifiedWrite, std::uint64_t bits, const ModifiedBits& others) {
    const ModifiedBits own = modifiedBitsOf(modifiedWrite, bits);
    return bits & ((others.keptByZero & ~own.keptByZero) | (others.keptByOne & ~own.keptByOne));
}

/**
 * The hint that lists the other fields that the user must also write: the text before and after the names of the
 * fields.
 */
struct Hint {
    const char* before;
    const char* after;
    /** The name for the unassigned bits of a register without fields. */
    const char* otherBits;
    /** The hint for a write that may change other registers, or the unassigned bits of a register without fields. */
    const char* forRegister;
};

constexpr Hint byAssignment{"also assign ", "", "the other bits", "write the whole register"};
constexpr Hint byMask{"also select all bits of ", " with the mask", "the bits outside the mask", "leave out the mask"};
constexpr Hint byFields{"use write REGISTER FIELD=VALUE ..., and also assign ", "", "the other bits",
                        "write the whole register"};
constexpr Hint byUpdate{"use update(), and also assign ", "", "the other bits", "write the whole register"};

const Hint& hintFor(WriteForm form) {
    switch (form) {
    case WriteForm::FieldName:
        return byFields;
    case WriteForm::FieldList:
        return byAssignment;
    case WriteForm::Attribute:
        return byUpdate;
    }
    return byAssignment;
}

/** Plans one write, which must not change the fields that the user does not assign. */
class Plan {
public:
    Plan(const LocatedRegister& located, const MaskedValue& assigned, const Word& word, const Hint& hint)
        : m_located(located),
          m_assigned(assigned),
          m_word(word),
          m_modified(modifiedBitsOf(*located.contents) | word.modifiedBits),
          m_hint(hint) {}

    /** Returns the bits to write. */
    MaskedValue written() const {
        const std::uint64_t keptByOne = m_modified.keptByOne & otherBits();
        return {m_assigned.value | keptByOne, m_assigned.mask | keptByOne | (m_modified.keptByZero & otherBits())};
    }

    /** @throws RefusedValue if the write needs the value of another field, but a read is impossible or has side
     * effects. */
    void requireReadableIfNeeded() const {
        const std::vector<const Field*> read =
            otherFields([](const Field& field) { return !neutralValue(field.modifiedWrite, 0); });
        if (read.empty()) {
            return;
        }
        if (!isReadable(contents())) {
            throw RefusedValue(refusal(
                nameWithKind(m_located) + " is write-only, so its other fields cannot keep their values", read));
        }
        if (m_word.hasReadSideEffect) {
            throw RefusedValue(refusal("reading register " + m_located.name +
                                           " has a side effect, so its other fields cannot keep their values",
                                       read));
        }
    }

    /** @throws RefusedValue if another field or register cannot keep its value, even if the written register can be
     * read. */
    void requireKept() const {
        const auto reasonFor = [](const Field& field) { return reasonToChange(field.access, field.modifiedWrite); };
        const std::vector<const Field*> lost =
            otherFields([&reasonFor](const Field& field) { return !reasonFor(field).empty(); });
        if (!lost.empty()) {
            throw RefusedValue(refusal(nameWithKind(m_located, *lost.front()) + ' ' + reasonFor(*lost.front()), lost));
        }
        requireNoContradiction();
        requireOtherRegistersKept();
    }

    /** @throws RefusedValue if a register without fields cannot keep the bits that are not assigned. */
    void requireOtherBitsKept() const {
        const bool isChanged = !reasonToChange(contents().access, contents().modifiedWrite).empty() ||
                               contradictions(contents().modifiedWrite, otherBits(), m_modified) != 0;
        if (contents().fields.empty() && otherBits() != 0 && isChanged) {
            throw RefusedValue(nameWithKind(m_located) + ": " + m_hint.otherBits + " cannot keep their values (" +
                               m_hint.forRegister + ')');
        }
    }

private:
    const Register& contents() const { return *m_located.contents; }

    std::uint64_t otherBits() const { return bitsOf(contents()) & ~m_assigned.mask; }

    /** @throws RefusedValue if other fields or registers need different values of the bits of another field. */
    void requireNoContradiction() const {
        std::uint64_t settled = m_assigned.mask;
        const std::vector<const Field*> lost = otherFields([this, &settled](const Field& field) {
            const std::uint64_t bits = maskOf(field) & ~settled;
            const bool isLost = contradictions(field.modifiedWrite, bits, m_modified) != 0;
            // If the user also assigns this field, its bits have a fixed value for the later fields.
            settled |= isLost ? bits : 0;
            return isLost;
        });
        if (!lost.empty()) {
            throw RefusedValue(refusal(nameWithKind(m_located, *lost.front()) +
                                           " cannot keep its value, because a field or register that shares its bits "
                                           "needs other values",
                                       lost));
        }
    }

    /** @throws RefusedValue if every value of the unassigned bits changes another register at the same offset. */
    void requireOtherRegistersKept() const {
        const std::uint64_t alwaysChanged =
            m_word.modifiedBits.alwaysChanged & ~modifiedBitsOf(contents()).alwaysChanged;
        if (((alwaysChanged | (m_modified.keptByZero & m_modified.keptByOne)) & otherBits()) != 0) {
            throw RefusedValue(
                nameWithKind(m_located) +
                ": this write would also change another register at the same address (to change it nevertheless, " +
                m_hint.forRegister + ')');
        }
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

    /** Returns the problem and its hint as text. @param fields the fields that the user must also write. */
    std::string refusal(const std::string& problem, const std::vector<const Field*>& fields) const {
        std::string names;
        for (const Field* const field : fields) {
            names += (names.empty() ? "" : ", ") + field->name;
        }
        return problem + " (" + m_hint.before + names + m_hint.after + ")";
    }

    const LocatedRegister& m_located;
    const MaskedValue& m_assigned;
    const Word& m_word;
    const ModifiedBits m_modified;
    const Hint& m_hint;
};

/** Returns a field inside the register that has a bit of a mask and meets a condition; null if there is none. */
template <typename Condition>
const Field* findSelected(const Register& contents, std::uint64_t mask, const Condition& condition) {
    const auto found = std::find_if(contents.fields.begin(), contents.fields.end(), [&](const Field& field) {
        return isInside(field, contents) && (maskOf(field) & mask) != 0 && condition(field);
    });
    return found == contents.fields.end() ? nullptr : &*found;
}

[[noreturn]] void refuseToStore(const std::string& object) {
    throw RefusedValue("a write does not store the value in " + object + " (use the command write)");
}

} // namespace

ModifiedBits modifiedBitsOf(const Register& aRegister) {
    ModifiedBits modified;
    for (const Field& field : aRegister.fields) {
        if (isConcerned(field, aRegister)) {
            modified = modified | modifiedBitsOf(field.modifiedWrite, maskOf(field));
        }
    }
    return isWritable(aRegister.access)
               ? modified | modifiedBitsOf(aRegister.modifiedWrite, bitsOf(aRegister) & ~bitsOfFields(aRegister))
               : modified;
}

ModifiedBits operator|(const ModifiedBits& a, const ModifiedBits& b) {
    return {a.keptByZero | b.keptByZero, a.keptByOne | b.keptByOne, a.alwaysChanged | b.alwaysChanged};
}

std::uint64_t writableBits(const Register& aRegister) {
    return bitsOfWritableFields(aRegister) |
           (isWritable(aRegister.access) ? bitsOf(aRegister) & ~bitsOfFields(aRegister) : 0);
}

std::uint64_t comparableBits(const Register& aRegister) {
    return isReadable(aRegister.access) ? writableBits(aRegister) : bitsOfWritableFields(aRegister);
}

bool hasReadSideEffect(const Register& aRegister) {
    return aRegister.readAction || std::any_of(aRegister.fields.begin(), aRegister.fields.end(),
                                               [](const Field& field) { return field.readAction.has_value(); });
}

WriteShape shapeOfWrite(const LocatedRegister& located, std::uint64_t assigned, const Word& word, WriteForm form) {
    const MaskedValue unchanged{0, assigned};
    const Plan plan(located, unchanged, word, hintFor(form));
    plan.requireReadableIfNeeded();
    plan.requireKept();
    const MaskedValue written = plan.written();
    const bool isWhole =
        written.mask == lowBits(word.width) || !isReadable(*located.contents) || word.hasReadSideEffect;
    return {{written.value, written.mask & ~assigned}, isWhole};
}

FieldWrite planWrite(const LocatedRegister& located, const std::vector<FieldAssignment>& assignments, const Word& word,
                     WriteForm form) {
    FieldWrite write;
    write.assigned = encode(located, assignments);
    const WriteShape shape = shapeOfWrite(located, write.assigned.mask, word, form);
    write.written = {write.assigned.value | shape.kept.value, write.assigned.mask | shape.kept.mask};
    write.isWhole = shape.isWhole;
    requireInRange(located, {write.written.value, write.isWhole ? UINT64_MAX : write.written.mask});
    for (const FieldAssignment& assignment : assignments) {
        write.fields.push_back(decode(*assignment.field, write.assigned.value, Usage::Write));
    }
    return write;
}

MaskedValue planMaskedWrite(const LocatedRegister& located, const MaskedValue& selected, const Word& word) {
    const Plan plan(located, selected, word, byMask);
    plan.requireOtherBitsKept();
    plan.requireKept();
    const MaskedValue written = plan.written();
    requireInRange(located, written);
    return written;
}

void requireOthersKept(const LocatedRegister& located, std::uint64_t mask, const Word& word) {
    const MaskedValue selected{0, mask};
    const Plan plan(located, selected, word, byFields);
    plan.requireOtherBitsKept();
    plan.requireKept();
}

void requireStored(const LocatedRegister& located, std::uint64_t mask) {
    const Register& contents = *located.contents;
    const std::uint64_t readOnly = mask & ~writableBits(contents);
    if (const Field* const field = findSelected(contents, readOnly, [](const Field&) { return true; })) {
        throw RefusedValue(nameWithKind(located, *field) + " is read-only");
    }
    if (readOnly != 0) {
        throw RefusedValue(nameWithKind(located) + " is read-only outside its fields");
    }
    const Field* const modified = findSelected(contents, mask, [](const Field& field) {
        return isWritable(field.access) && field.modifiedWrite != ModifiedWrite::Modify;
    });
    if (modified != nullptr) {
        refuseToStore(nameWithKind(located, *modified));
    }
    if ((mask & ~bitsOfFields(contents)) != 0 && contents.modifiedWrite != ModifiedWrite::Modify) {
        refuseToStore(nameWithKind(located));
    }
}

void requireNotWriteOnly(const LocatedRegister& located, std::uint64_t mask, const std::string& hint) {
    const Register& contents = *located.contents;
    const Field* const writeOnly = findSelected(
        contents, mask, [](const Field& field) { return isWritable(field.access) && !isReadable(field.access); });
    if (writeOnly != nullptr) {
        throw RefusedValue(nameWithKind(located, *writeOnly) + " is write-only" + hint);
    }
    if ((mask & ~bitsOfFields(contents)) != 0 && !isReadable(contents.access)) {
        throw RefusedValue(nameWithKind(located) + " is write-only outside its fields" + hint);
    }
}

std::uint64_t readableBits(const Register& aRegister) {
    return bitsOfFields(aRegister, [](const Field& field) { return isReadable(field.access); }) |
           (isReadable(aRegister.access) ? bitsOf(aRegister) & ~bitsOfFields(aRegister) : 0);
}

void requireBitsReadable(const LocatedRegister& located, std::uint64_t mask) {
    const std::uint64_t hidden = mask & ~readableBits(*located.contents);
    if (hidden != 0) {
        requireNotWriteOnly(located, hidden);
    }
}

} // namespace Maps
