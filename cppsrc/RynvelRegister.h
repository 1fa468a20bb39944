/* SPDX-License-Identifier: MIT */
#ifndef RYNVEL_REGISTER_H
#define RYNVEL_REGISTER_H

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>

namespace Rynvel {

/**
 * Two adjacent values that one instruction loads from memory. A burst write is faster if it loads two values at a time
 * than if it loads each value separately.
 */
template <typename T>
class ValuePair {
public:
    explicit ValuePair(const T* values) { std::memcpy(&m_pair, values, sizeof(m_pair)); }

    T first() const { return firstIsLow ? low() : high(); }
    T second() const { return firstIsLow ? high() : low(); }

private:
    static constexpr bool firstIsLow = __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__;

    T low() const { return static_cast<T>(m_pair); }
    T high() const { return static_cast<T>(m_pair >> (8 * sizeof(T))); }

    std::conditional_t<sizeof(T) == 1, std::uint16_t, std::conditional_t<sizeof(T) == 2, std::uint32_t, std::uint64_t>>
        m_pair;
};

/** Copies registers to memory in ascending order. Accesses each register once. Applies `convert` to every value. */
template <typename T, typename Convert>
void copyFromRegisters(T* to, const volatile T* from, std::size_t items, Convert convert) {
    std::size_t i = 0;
    for (; i + 4 <= items; i += 4) {
        to[i] = convert(from[i]);
        to[i + 1] = convert(from[i + 1]);
        to[i + 2] = convert(from[i + 2]);
        to[i + 3] = convert(from[i + 3]);
    }
    for (; i < items; ++i) {
        to[i] = convert(from[i]);
    }
}

/** Copies memory to registers in ascending order. Accesses each register once. Applies `convert` to every value. */
template <typename T, typename Convert>
void copyToRegisters(volatile T* to, const T* from, std::size_t items, Convert convert) {
    std::size_t i = 0;
    for (; i + 4 <= items; i += 4) {
        const ValuePair<T> firstPair(from + i);
        const ValuePair<T> secondPair(from + i + 2);
        to[i] = convert(firstPair.first());
        to[i + 1] = convert(firstPair.second());
        to[i + 2] = convert(secondPair.first());
        to[i + 3] = convert(secondPair.second());
    }
    for (; i < items; ++i) {
        to[i] = convert(from[i]);
    }
}

} // namespace Rynvel

#endif
