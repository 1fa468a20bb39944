// SPDX-License-Identifier: MIT
/**
 * @file
 * Writes fields or bits of a register so that the others keep their values.
 */
#ifndef RYNVEL_MAPS_FIELDWRITE_H
#define RYNVEL_MAPS_FIELDWRITE_H

#include <vector>

#include "FieldValues.h"

namespace Maps {

/** The write that gives fields their values. */
struct FieldWrite {
    /** The assigned fields in their order, with their names for writing. */
    std::vector<FieldValue> fields;
    /** The bits of the assigned fields. */
    MaskedValue assigned;
    /** The bits to write: also the bits of other fields that keep their values only if a certain bit is written. */
    MaskedValue written;
    /** Whether to write the whole register without reading it. Otherwise, the write has a mask. */
    bool isWhole = false;
};

/**
 * Returns whether reading a register changes it, one of its fields or another register. Does not consider registers at
 * the same address.
 */
bool hasReadEffect(const Register& aRegister);

/**
 * Plans a write that changes no other field.
 *
 * @param hasReadEffect whether reading the address of the register has a side effect.
 * @throws RefusedValue as encode() does, for a value outside the range of the register, and if another writable field
 * cannot keep its value. Such a field changes with every write, or its value cannot be read and written back.
 */
FieldWrite planWrite(const LocatedRegister& located, const std::vector<Assignment>& assignments, bool hasReadEffect);

/**
 * Plans a masked write that changes no bit outside its mask.
 *
 * @param located can be read, and reading its address has no side effect.
 * @param selected the bits to change. The value has no bits outside the mask.
 * @return the bits to write: also those that keep their values only if a certain bit is written.
 * @throws RefusedValue for a value outside the range of the register, and if a writable field with a bit outside the
 * mask cannot keep its value as in planWrite(). A register without fields is like one field.
 */
MaskedValue planMaskedWrite(const LocatedRegister& located, const MaskedValue& selected);

} // namespace Maps

#endif
