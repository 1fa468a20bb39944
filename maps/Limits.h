// SPDX-License-Identifier: MIT
/**
 * @file
 * The maximum sizes of a register map.
 */
#ifndef RYNVEL_MAPS_LIMITS_H
#define RYNVEL_MAPS_LIMITS_H

#include <cstddef>
#include <cstdint>

namespace Maps {

struct Limits {
    std::size_t bytes = std::size_t{64} << 20U;
    /** The depth of nested clusters. */
    std::size_t clusterDepth = 32;
    /** The number of elements of one array. The reader leaves out a larger array, and warns about it. */
    std::uint64_t arraySize = 65536;
    /** The number of all peripherals, clusters, registers and fields. Elements that are left out count, too. */
    std::uint64_t elements = 1000000;
    /** The number of warnings that are kept. Further warnings are only counted. */
    std::size_t warnings = 10000;
};

} // namespace Maps

#endif
