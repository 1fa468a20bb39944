/* SPDX-License-Identifier: MIT */
#ifndef RYNVEL_TESTS_REMOTEBOARD_H
#define RYNVEL_TESTS_REMOTEBOARD_H

#include <cstdint>

namespace RynvelTest {

/** The ioctl commands that the register server of the board tests accepts. The server refuses all others. */
enum RemoteCommand : std::uint32_t {
    /** Makes the server report an interrupt with the argument as the interrupt word. */
    Raise = 1,
    /** Makes the server close the connection without an answer. */
    HangUp = 2,
};

/** The address at which the server refuses every access. */
constexpr std::uint32_t refusedAddress = 0xFFFFFFFF;

} // namespace RynvelTest

#endif
