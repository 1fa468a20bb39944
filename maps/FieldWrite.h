// SPDX-License-Identifier: MIT
/**
 * @file
 * Plans writes of some fields or bits of a register. All remaining fields and bits keep their values.
 */
#ifndef RYNVEL_MAPS_FIELDWRITE_H
#define RYNVEL_MAPS_FIELDWRITE_H

#include <vector>

#include "FieldValues.h"

namespace Maps {

/** The bits that do not keep their values if a write repeats the values that were read. */
struct ModifiedBits {
    /** The bits that a written 0 keeps and a written 1 changes. */
    std::uint64_t keptByZero = 0;
    /** The bits that a written 1 keeps and a written 0 changes. */
    std::uint64_t keptByOne = 0;
    /** The bits that change with every write. */
    std::uint64_t alwaysChanged = 0;

    std::uint64_t all() const { return keptByZero | keptByOne | alwaysChanged; }
};

/** Returns the modified bits of a register: the writable bits for which `modifiedWrite` is not Modify. */
ModifiedBits modifiedBitsOf(const Register& aRegister);

/** Returns the modified bits of two registers at the same offset. */
ModifiedBits operator|(const ModifiedBits& a, const ModifiedBits& b);

/** Returns the bits of a register that a write can change. A writable field can share bits with a read-only field. */
std::uint64_t writableBits(const Register& aRegister);

/**
 * Returns the bits of a register that can be compared with the written bits: the bits of writable fields, and the bits
 * outside all fields if the register itself can be read and written.
 */
std::uint64_t comparableBits(const Register& aRegister);

/** The word of a device in which a register begins. */
struct Word {
    /** The register width of the device in bits. */
    unsigned int width = 0;
    /** Whether reading the word has a side effect. */
    bool hasReadSideEffect = false;
    /** The modified bits of all registers that begin at the same offset as the register. */
    ModifiedBits modifiedBits;
};

/** The write that gives fields their values. */
struct FieldWrite {
    /** The assigned fields in the order of the assignments, with the names of their values for writing. */
    std::vector<FieldValue> fields;
    /** The bits of the assigned fields. */
    MaskedValue assigned;
    /** The assigned bits, and the bits that keep their values only if the write gives them a value. */
    MaskedValue written;
    /** Whether to write the whole word without reading it. Otherwise, the write has a mask. */
    bool isWhole = false;
};

/**
 * Returns whether reading a register changes the register, one of its fields or another register. Does not consider
 * other registers at the same offset.
 */
bool hasReadSideEffect(const Register& aRegister);

/** How the user gives the fields of a write. */
enum class WriteForm {
    /** The name of one field on a command line. */
    FieldName,
    /** A value for each of several fields. */
    FieldList,
    /** An assignment to an attribute of a Python object. */
    Attribute
};

/** The properties of a write that do not depend on the new values. */
struct WriteShape {
    /** The bits that keep their values only if the write gives them a value. */
    MaskedValue kept;
    /** As in FieldWrite. */
    bool isWhole = false;
};

/**
 * Returns the properties of a write of some bits that do not depend on the new values.
 *
 * @param assigned the bits of the fields that get values.
 * @throws RefusedValue if another field or register cannot keep its value, as in planWrite().
 */
WriteShape shapeOfWrite(const LocatedRegister& located, std::uint64_t assigned, const Word& word,
                        WriteForm form = WriteForm::FieldList);

/**
 * Plans a write that changes no other field, and no other register at the same offset.
 *
 * @param form selects the hint in the reason for a refusal.
 * @throws RefusedValue in these cases:
 *
 * - encode() refuses the assignments.
 * - The value is outside the range of the register.
 * - Another writable field changes with every write, or its value cannot be read and written back.
 * - A field or register that shares bits with another writable field needs different values of these bits.
 * - A register at the same offset changes with every write.
 */
FieldWrite planWrite(const LocatedRegister& located, const std::vector<FieldAssignment>& assignments, const Word& word,
                     WriteForm form = WriteForm::FieldList);

/**
 * Plans a masked write that changes no bit outside its mask, and no bit of another register at the same offset.
 *
 * @param located the register, which must be readable. Reading its word must not have a side effect.
 * @param selected the bits to change. The value has no bits outside the mask.
 * @return the bits to write: the selected bits, and the bits that keep their values only if the write gives them a
 * value.
 * @throws RefusedValue for a value outside the range of the register, and if a writable field with a bit outside the
 * mask cannot keep its value as in planWrite(). A register without fields counts as one field.
 */
MaskedValue planMaskedWrite(const LocatedRegister& located, const MaskedValue& selected, const Word& word);

/**
 * Checks a change of bits when their new value is not known yet.
 *
 * @throws RefusedValue if a field or register with a bit outside the mask cannot keep its value, as in
 * planMaskedWrite().
 */
void requireOthersKept(const LocatedRegister& located, std::uint64_t mask, const Word& word);

/**
 * Checks that a write stores its value in the bits of a mask.
 *
 * @throws RefusedValue if one of the bits is read-only, or if its modifiedWriteValues is not modify.
 */
void requireStored(const LocatedRegister& located, std::uint64_t mask);

/** @throws RefusedValue if a bit of the mask can be written, but not read. The message ends with the hint. */
void requireNotWriteOnly(const LocatedRegister& located, std::uint64_t mask, const std::string& hint = "");

/** Returns the bits of a register that can be read. A readable field can share bits with a write-only field. */
std::uint64_t readableBits(const Register& aRegister);

/** @throws RefusedValue if a bit of the mask cannot be read. */
void requireBitsReadable(const LocatedRegister& located, std::uint64_t mask);

} // namespace Maps

#endif
