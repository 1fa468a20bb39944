/* SPDX-License-Identifier: MIT */
/**
 * @file
 * Draws the bits of a register with characters.
 */
#ifndef RYNVELCTL_BITDIAGRAM_H
#define RYNVELCTL_BITDIAGRAM_H

#include <cstddef>
#include <string>

#include "Model.h"

namespace Rynvelctl {

/** The maximum number of characters in a line of a drawing or of a table in a report, unless a name needs more. */
constexpr std::size_t widestLine = 100;

/**
 * Returns a drawing with one box for each field of a register, the highest bits first. The bits of a field are above
 * its box. Bits without a field have the name "-". A field outside the register is left out. A line has at most
 * widestLine characters, unless a single box is wider. A long drawing continues below. Fields that share bits are in
 * separate layers, one below the other. After 16 layers, a line gives the number of further fields. Returns an empty
 * text for a register without fields inside it.
 */
std::string bitDiagram(const Maps::Register& contents);

} // namespace Rynvelctl

#endif
