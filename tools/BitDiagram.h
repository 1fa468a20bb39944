/* SPDX-License-Identifier: MIT */
/**
 * @file
 * Draws the bits of a register with characters.
 */
#ifndef RYNVELCTL_BITDIAGRAM_H
#define RYNVELCTL_BITDIAGRAM_H

#include <string>

#include "Model.h"

namespace Rynvelctl {

/**
 * Returns a drawing with one box for each field of a register, the highest bits first. The bits of a field are above
 * its box. Bits without a field have the name "-". A line has at most 100 characters, unless a name needs more, and a
 * long drawing continues below. Fields that share bits are in separate layers, one below the other. After 16 layers, a
 * line gives the number of further fields. Returns an empty text for a register without fields.
 */
std::string bitDiagram(const Maps::Register& contents);

} // namespace Rynvelctl

#endif
