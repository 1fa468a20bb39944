/**
 * @file
 * The arithmetic of register values.
 */
#ifndef RYNVEL_BASE_REGISTERVALUE_H
#define RYNVEL_BASE_REGISTERVALUE_H

#include <cstdint>

namespace Rynvel {

inline std::uint8_t reverseBytes(std::uint8_t value) { return value; }
inline std::uint16_t reverseBytes(std::uint16_t value) { return __builtin_bswap16(value); }
inline std::uint32_t reverseBytes(std::uint32_t value) { return __builtin_bswap32(value); }

/** `current` with the bits that are set in `bitmask` taken from `data`. */
template <typename T>
T replaceBits(T current, T data, T bitmask) {
    return static_cast<T>((current & ~bitmask) | (data & bitmask));
}

} // namespace Rynvel

#endif
