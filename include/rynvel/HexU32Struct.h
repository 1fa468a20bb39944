/* SPDX-License-Identifier: MIT */
/**
 * @file
 * Hexadecimal numbers in trace texts.
 */
#ifndef RYNVEL_HEXU32STRUCT_H
#define RYNVEL_HEXU32STRUCT_H

#include "rynvel/Export.h"

#include <cstdint>
#include <iosfwd>

/** A value to write in hexadecimal, with at least `width` digits. */
struct RYNVEL_EXPORT HexU32Struct {
    /** The value to write. */
    std::uint32_t value;
    /** The minimum number of digits. */
    std::int32_t width;
};

/**
 * Writes "0x" and the value in lower-case hexadecimal digits, padded with zeros to `width` digits. Writes all digits of
 * a longer value. Restores the format flags of the stream, but leaves '0' as the fill character of the stream.
 */
RYNVEL_EXPORT std::ostream& operator<<(std::ostream& os, const HexU32Struct& hex);

#endif
