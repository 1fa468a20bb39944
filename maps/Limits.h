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
    /** The maximum depth of nested clusters. */
    std::size_t clusterDepth = 32;
    /** The maximum number of elements of one array. The reader leaves out a larger array, and warns about it. */
    std::uint64_t arraySize = 65536;
    /**
     * The maximum number of peripherals, clusters, registers and fields together, including those that are left out.
     */
    std::uint64_t elements = 1000000;
    /** The maximum number of warnings. The reader only counts further warnings. */
    std::size_t warnings = 10000;
};

} // namespace Maps

#endif
