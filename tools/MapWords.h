/* SPDX-License-Identifier: MIT */
/**
 * @file
 * The texts for the properties of registers and fields in a register map.
 */
#ifndef RYNVELCTL_MAPWORDS_H
#define RYNVELCTL_MAPWORDS_H

#include <string>

#include "Model.h"

namespace Rynvelctl {

/** Returns words such as "read-only". */
std::string wordsFor(Maps::Access access);

/** Returns the word of the file format, such as "modifyExternal". */
std::string wordFor(Maps::ReadAction action);

/** Returns the word of the file format, such as "oneToClear". */
std::string wordFor(Maps::ModifiedWrite modification);

/** Returns "read", "write" or "read-write". */
std::string wordFor(Maps::Usage usage);

/** Returns "7:4", or "3" for a single bit. */
std::string bitRange(unsigned int msb, unsigned int lsb);

/** Returns the values that may be written, in words. */
std::string wordsFor(const Maps::WriteConstraint& constraint);

/**
 * Returns an enumerated value as a number, as a bit pattern with an x for each "don't care" bit, such as "0b1x", or as
 * "others" for the default value.
 */
std::string textOf(const Maps::EnumeratedValue& value, const Maps::Field& field);

} // namespace Rynvelctl

#endif
