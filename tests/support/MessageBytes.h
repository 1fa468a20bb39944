/* SPDX-License-Identifier: MIT */
#ifndef RYNVEL_TESTS_MESSAGEBYTES_H
#define RYNVEL_TESTS_MESSAGEBYTES_H

#include <rynvel.hpp>

#include <cstdint>
#include <vector>

namespace RynvelTest {

using Bytes = std::vector<std::uint8_t>;

/** Returns the bytes that a connection sends for a message. */
inline Bytes bytesOf(const Rynvel::IMessage& message) {
    const auto* const first = static_cast<const std::uint8_t*>(message.toBuffer());
    return {first, first + message.getSize()};
}

} // namespace RynvelTest

#endif
