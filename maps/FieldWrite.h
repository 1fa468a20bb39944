// SPDX-License-Identifier: MIT
/**
 * @file
 * How to write single fields of a register so that the other fields keep their values.
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
    /** The bits to write: also those of the other fields that keep their values only if a certain bit is written. */
    MaskedValue written;
    /** Whether to write the value as a whole, without reading the register. The write is a masked one otherwise. */
    bool isWhole = false;
};

/**
 * Whether reading a register has an effect on it, on one of its fields or on another register. Does not consider
 * registers at the same address.
 */
bool hasReadEffect(const Register& aRegister);

/**
 * Plans a write that changes no other field.
 *
 * @param hasReadEffect whether reading the address of the register has a side effect.
 * @throws RefusedValue as encode() does, for a value outside the range of the register, and where another field cannot
 * keep its value: one that changes with every write or whose value cannot be read and written back. No field is in the
 * way if all that can be written are assigned.
 */
FieldWrite planWrite(const LocatedRegister& place, const std::vector<Assignment>& assignments, bool hasReadEffect);

} // namespace Maps

#endif
