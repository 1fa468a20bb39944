/* SPDX-License-Identifier: MIT */
#ifndef RYNVEL_TESTS_NETWORKWORD_H
#define RYNVEL_TESTS_NETWORKWORD_H

#include <cstdint>

namespace RynvelTest {

/** Returns the word that four bytes in network byte order encode. */
inline std::uint32_t wordAt(const std::uint8_t* bytes) {
    return static_cast<std::uint32_t>(bytes[0]) << 24U | static_cast<std::uint32_t>(bytes[1]) << 16U |
           static_cast<std::uint32_t>(bytes[2]) << 8U | static_cast<std::uint32_t>(bytes[3]);
}

inline void putWord(std::uint8_t* bytes, std::uint32_t word) {
    for (unsigned int i = 0; i < 4; ++i) {
        bytes[i] = static_cast<std::uint8_t>(word >> (24 - 8 * i));
    }
}

} // namespace RynvelTest

#endif
