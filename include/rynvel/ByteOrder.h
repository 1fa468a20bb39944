/* SPDX-License-Identifier: MIT */
/**
 * @file
 * The byte order of burst items.
 */
#ifndef RYNVEL_BYTEORDER_H
#define RYNVEL_BYTEORDER_H

#include "rynvel/Export.h"

#include <cstdint>
#include <iosfwd>

namespace Rynvel {

/** The order of the bytes of each burst item in the caller's buffer. */
enum class ByteOrder : std::uint32_t {
    /** The items are unchanged, in the processor's byte order. */
    Host = 0,
    /** The bytes of every item are reversed: network byte order on a little-endian processor. */
    Network = 1,
};

/** Writes "Network" for ByteOrder::Network, and "Host" for every other value, even one out of range. */
RYNVEL_EXPORT std::ostream& operator<<(std::ostream& os, ByteOrder byteOrder);

} // namespace Rynvel

#endif
