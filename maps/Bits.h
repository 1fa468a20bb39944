// SPDX-License-Identifier: MIT
/**
 * @file
 * Masks of the lowest bits of a register.
 */
#ifndef RYNVEL_MAPS_BITS_H
#define RYNVEL_MAPS_BITS_H

#include <cstdint>

namespace Maps {

/**
 * Only this number of low bits of a register can be read and written through fields. A register in a map may be wider.
 */
constexpr unsigned int widest = 64;

/** Returns a mask of the `count` lowest bits; of all 64 bits if `count` is greater. */
constexpr std::uint64_t lowBits(std::uint64_t count) {
    return count >= widest ? UINT64_MAX : (std::uint64_t{1} << count) - 1;
}

} // namespace Maps

#endif
