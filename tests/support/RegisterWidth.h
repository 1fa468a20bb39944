/* SPDX-License-Identifier: MIT */
#ifndef RYNVEL_TESTS_REGISTERWIDTH_H
#define RYNVEL_TESTS_REGISTERWIDTH_H

#include <cstdint>

namespace RynvelTest {

/** A register value whose bytes all differ, the value with its bytes reversed, and texts for registers of type T. */
template <typename T>
struct Width;

template <>
struct Width<std::uint8_t> {
    static constexpr auto value = std::uint8_t{0xA5};
    static constexpr auto reversed = std::uint8_t{0xA5};
    static constexpr auto bytes = "1";
    static constexpr auto dataText = "0xa5";
    /** The text of the mask 0x0F in a trace. */
    static constexpr auto maskText = "0x0f";
};

template <>
struct Width<std::uint16_t> {
    static constexpr auto value = std::uint16_t{0xA51B};
    static constexpr auto reversed = std::uint16_t{0x1BA5};
    static constexpr auto bytes = "2";
    static constexpr auto dataText = "0xa51b";
    static constexpr auto maskText = "0x000f";
};

template <>
struct Width<std::uint32_t> {
    static constexpr auto value = std::uint32_t{0xA51B2C3D};
    static constexpr auto reversed = std::uint32_t{0x3D2C1BA5};
    static constexpr auto bytes = "4";
    static constexpr auto dataText = "0xa51b2c3d";
    static constexpr auto maskText = "0x0000000f";
};

} // namespace RynvelTest

#endif
