/* SPDX-License-Identifier: MIT */
/**
 * @file
 * The bits of a register as a drawing of characters.
 */
#ifndef RYNVELCTL_BITDIAGRAM_H
#define RYNVELCTL_BITDIAGRAM_H

#include <string>

#include "Model.h"

namespace Rynvelctl {

/**
 * Returns boxes with the fields of a register, the highest bits first, and the bits of each field above it. Bits
 * without a field have the name "-". A line has up to 100 characters if the names permit it. Fields that share bits
 * with others have a drawing of their own. After 16 drawings, a line gives the number of further fields. Returns an
 * empty text for a register without fields.
 */
std::string bitDiagram(const Maps::Register& contents);

} // namespace Rynvelctl

#endif
