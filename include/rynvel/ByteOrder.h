/**
 * @file
 * The byte order of burst items.
 */
#ifndef RYNVEL_BYTEORDER_H
#define RYNVEL_BYTEORDER_H

#include <cstdint>
#include <iosfwd>

#include "rynvel/Export.h"

namespace Rynvel {

/** How the items of a burst go between the registers and the caller's buffer. */
enum class ByteOrder : std::uint32_t {
    /** Unchanged, in the processor's byte order. */
    Host = 0,
    /** Every item is byte-reversed on the way: network byte order on a little-endian processor. */
    Network = 1,
};

/** Writes "Network" for ByteOrder::Network and "Host" for every other value, out-of-range ones included. */
RYNVEL_EXPORT std::ostream& operator<<(std::ostream& os, ByteOrder byteOrder);

} // namespace Rynvel

#endif
