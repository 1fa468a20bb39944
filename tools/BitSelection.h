/* SPDX-License-Identifier: MIT */
/**
 * @file
 * The bits of a register that a command changes.
 */
#ifndef RYNVELCTL_BITSELECTION_H
#define RYNVELCTL_BITSELECTION_H

#include <cstdint>
#include <string>
#include <vector>

#include "Addresses.h"

namespace Rynvelctl {

struct BitSelection {
    std::uint32_t mask = 0;
    /** The fields with these bits; empty if the user did not give all bits as fields. */
    std::vector<const Maps::Field*> fields;
};

/**
 * Returns the bits that a list selects. Commas separate the entries of the list. An entry is a bit such as
 * `3`, a range of bits such as `7:4`, or the name of a field.
 *
 * @param addressed a register, which must outlive the result.
 * @throws Failure if an entry is none of these, if it is a bit and also the name of a field, if a bit is outside the
 * register, if a field cannot be written, or if the list selects a bit twice.
 */
BitSelection parseBits(const Addressed& addressed, const std::string& list);

} // namespace Rynvelctl

#endif
