#ifndef RYNVEL_REGISTER_H
#define RYNVEL_REGISTER_H

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>

namespace Rynvel {

/** Two values that stand one after the other in memory, taken with one load: of such a processor has fewer a cycle. */
template <typename T>
class TwoValues {
public:
    explicit TwoValues(const T* values) { std::memcpy(&m_both, values, sizeof(m_both)); }

    T first() const { return firstIsLow ? low() : high(); }
    T second() const { return firstIsLow ? high() : low(); }

private:
    static constexpr bool firstIsLow = __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__;

    T low() const { return static_cast<T>(m_both); }
    T high() const { return static_cast<T>(m_both >> (8 * sizeof(T))); }

    std::conditional_t<sizeof(T) == 1, std::uint16_t, std::conditional_t<sizeof(T) == 2, std::uint32_t, std::uint64_t>>
        m_both;
};

/** Reads registers into memory, with one access for each, in order. `change` is applied to every value. */
template <typename T, typename Change>
void copyFromRegisters(T* to, const volatile T* from, std::size_t items, Change change) {
    std::size_t i = 0;
    for (; i + 4 <= items; i += 4) {
        to[i] = change(from[i]);
        to[i + 1] = change(from[i + 1]);
        to[i + 2] = change(from[i + 2]);
        to[i + 3] = change(from[i + 3]);
    }
    for (; i < items; ++i) {
        to[i] = change(from[i]);
    }
}

/** Writes memory to registers, with one access for each, in order. `change` is applied to every value. */
template <typename T, typename Change>
void copyToRegisters(volatile T* to, const T* from, std::size_t items, Change change) {
    std::size_t i = 0;
    for (; i + 4 <= items; i += 4) {
        const TwoValues<T> former(from + i);
        const TwoValues<T> latter(from + i + 2);
        to[i] = change(former.first());
        to[i + 1] = change(former.second());
        to[i + 2] = change(latter.first());
        to[i + 3] = change(latter.second());
    }
    for (; i < items; ++i) {
        to[i] = change(from[i]);
    }
}

} // namespace Rynvel

#endif
