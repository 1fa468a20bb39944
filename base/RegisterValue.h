/* SPDX-License-Identifier: MIT */
/**
 * @file
 * Arithmetic on register values.
 */
#ifndef RYNVEL_BASE_REGISTERVALUE_H
#define RYNVEL_BASE_REGISTERVALUE_H

#include <cstdint>

namespace Rynvel {

/** Returns the value with its bytes in reverse order. */
inline std::uint8_t reverseBytes(std::uint8_t value) { return value; }
/** @copydoc reverseBytes */
inline std::uint16_t reverseBytes(std::uint16_t value) { return __builtin_bswap16(value); }
/** @copydoc reverseBytes */
inline std::uint32_t reverseBytes(std::uint32_t value) { return __builtin_bswap32(value); }

/** Returns `current`, with the bits that `bitmask` selects replaced by the bits of `data`. */
template <typename T>
T replaceBits(T current, T data, T bitmask) {
    return static_cast<T>((current & ~bitmask) | (data & bitmask));
}

} // namespace Rynvel

#endif
