/* SPDX-License-Identifier: MIT */
/**
 * @file
 * Counts in messages.
 */
#ifndef RYNVEL_COMMON_COUNT_H
#define RYNVEL_COMMON_COUNT_H

#include <cstddef>
#include <string>

namespace Common {

/**
 * Returns the number with a noun, for example "1 register" or "2 registers". `noun` is a singular whose plural ends
 * with "s".
 */
inline std::string counted(std::size_t number, const std::string& noun) {
    return std::to_string(number) + ' ' + noun + (number == 1 ? "" : "s");
}

} // namespace Common

#endif
