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

/** The order of the bytes in each item of a burst, in the buffer of the caller. */
enum class ByteOrder : std::uint32_t {
    /** The items are unchanged, in the byte order of the processor. */
    Host = 0,
    /** The bytes of every item are reversed. On a little-endian processor, the items then have network byte order. */
    Network = 1,
};

/** Writes "Network" for ByteOrder::Network, and "Host" for every other value. */
RYNVEL_EXPORT std::ostream& operator<<(std::ostream& os, ByteOrder byteOrder);

} // namespace Rynvel

#endif
