#ifndef RYNVEL_REGISTER_H
#define RYNVEL_REGISTER_H

#include <cstddef>
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

/** Copies registers to memory or back, with one access for each, in order. `change` is applied to every value. */
template <typename To, typename From, typename Change>
void copyInOrder(To* to, const From* from, std::size_t items, Change change) {
    std::size_t i = 0;
    for (; i + 4 <= items; i += 4) {
        to[i] = change(from[i]);
        to[i + 1] = change(from[i + 1]);
        to[i + 2] = change(from[i + 2]);
        to[i + 3] = change(from[i + 3]);
    }
    for (; i < items; ++i) {
        to[i] = change(from[i]);
    }
}

} // namespace Rynvel

#endif
