#ifndef RYNVEL_TESTS_REMOTEBOARD_H
#define RYNVEL_TESTS_REMOTEBOARD_H

#include <cstdint>

namespace RynvelTest {

/** What the register server of the board's tests does on an ioctl of this number; it refuses others. */
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
