// SPDX-License-Identifier: MIT
/**
 * @file
 * Reads files of a limited size.
 */
#ifndef RYNVEL_COMMON_INPUTFILE_H
#define RYNVEL_COMMON_INPUTFILE_H

#include <cstddef>
#include <string>

namespace Common {

/**
 * Returns the bytes of a file. Of a file with more than `most` bytes, it returns the first ones, at least one more than
 * `most`.
 *
 * @throws std::system_error if the file cannot be read.
 */
std::string readFile(const std::string& name, std::size_t most);

} // namespace Common

#endif
