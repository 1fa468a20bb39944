// SPDX-License-Identifier: MIT
/**
 * @file
 * Reads files of a limited size.
 */
#ifndef RYNVEL_COMMON_INPUTFILE_H
#define RYNVEL_COMMON_INPUTFILE_H

#include <cstddef>
#include <string>

#include "Deadline.h"

namespace Common {

/** Thrown if a pipe or a terminal does not deliver the bytes of a file in time. */
struct ReadTimedOut {
    std::string name;
};

/**
 * Returns the bytes of a file. If the file has more than `most` bytes, the result has more than `most` bytes, but not
 * necessarily all bytes of the file. Waits for the writers of a pipe, and for the first writer of a named pipe.
 *
 * @throws std::system_error if the file cannot be read.
 * @throws ReadTimedOut if the deadline passes.
 */
std::string readFile(const std::string& name, std::size_t most, const Deadline& deadline = {});

/**
 * Returns the bytes of standard input. If standard input has more than `most` bytes, the result has more than `most`
 * bytes, but not necessarily all bytes.
 *
 * @param name the name of standard input, for ReadTimedOut.
 * @throws std::system_error if standard input cannot be read.
 * @throws ReadTimedOut if the deadline passes.
 */
std::string readStandardInput(const std::string& name, std::size_t most, const Deadline& deadline = {});

} // namespace Common

#endif
