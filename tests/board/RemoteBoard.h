/* SPDX-License-Identifier: MIT */
#ifndef RYNVEL_TESTS_REMOTEBOARD_H
#define RYNVEL_TESTS_REMOTEBOARD_H

#include <cstdint>

namespace RynvelTest {

/** The ioctl requests of the register server of the board tests, and their effect. The server refuses all others. */
enum RemoteCommand : std::uint32_t {
    /** Reports an interrupt with the argument as its word. */
    Raise = 1,
    /** Closes the connection without an answer. */
    HangUp = 2,
};

/** The server refuses accesses to this address. */
constexpr std::uint32_t refusedAddress = 0xFFFFFFFF;

} // namespace RynvelTest

#endif
