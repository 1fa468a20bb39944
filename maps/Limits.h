// SPDX-License-Identifier: MIT
/**
 * @file
 * How much a register map may cost.
 */
#ifndef RYNVEL_MAPS_LIMITS_H
#define RYNVEL_MAPS_LIMITS_H

#include <cstddef>
#include <cstdint>

namespace Maps {

struct Limits {
    std::size_t bytes = std::size_t{64} << 20U;
    /** Clusters in clusters. */
    std::size_t clusterDepth = 32;
    /** Elements of one array. A larger array is not used, with a warning. */
    std::uint64_t arraySize = 65536;
    /** Peripherals, clusters, registers and fields in all. */
    std::uint64_t elements = 1000000;
    /** Warnings that are kept; the others are counted. */
    std::size_t warnings = 10000;
};

} // namespace Maps

#endif
