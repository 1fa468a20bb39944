/* SPDX-License-Identifier: MIT */
/**
 * @file
 * Register values of 8, 16 or 32 bits, in words of 32 bits.
 */
#ifndef RYNVEL_COMMON_REGISTERWORD_H
#define RYNVEL_COMMON_REGISTERWORD_H

#include <rynvel.hpp>

#include <cstdint>

namespace Common {

/** The width of a register of type `T`, in bits. */
template <typename T>
constexpr unsigned int widthOf = 8 * sizeof(T);

constexpr unsigned int bytesOf(unsigned int width) { return width / 8; }

/** Returns the largest value of a register of `width` bits. */
constexpr std::uint32_t maxValue(unsigned int width) { return UINT32_MAX >> (32U - width); }

/** Returns the value, with its bytes reversed if `order` is Network. */
inline std::uint32_t inByteOrder(std::uint32_t value, unsigned int width, Rynvel::ByteOrder order) {
    return order == Rynvel::ByteOrder::Network ? __builtin_bswap32(value) >> (32U - width) : value;
}

/**
 * Calls `function` with the value 0 as std::uint8_t, std::uint16_t or std::uint32_t, depending on `width`. The function
 * can use the type of its argument as the register type. Returns the result of the function.
 */
template <typename Function>
auto withRegisterType(unsigned int width, const Function& function) {
    switch (width) {
    case 8:
        return function(std::uint8_t{0});
    case 16:
        return function(std::uint16_t{0});
    default:
        return function(std::uint32_t{0});
    }
}

} // namespace Common

#endif
