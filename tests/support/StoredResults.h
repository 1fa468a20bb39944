/* SPDX-License-Identifier: MIT */
#ifndef RYNVEL_TESTS_STOREDRESULTS_H
#define RYNVEL_TESTS_STOREDRESULTS_H

#include <rynvel.hpp>

#include <cstdint>
#include <utility>
#include <vector>

// Calls of operations that store a value. Each function returns the result of the operation and the stored value.

namespace RynvelTest {

/** The value of the variable before the operation. */
template <typename T>
constexpr T untouched = static_cast<T>(0x5555555555555555U);

template <typename T>
std::pair<bool, T> readFrom(Rynvel::Device<T>& device, unsigned int address = 0) {
    T value = untouched<T>;
    const bool result = device.read(address, &value);
    return {result, value};
}

/** Reads a burst from the address 0 into a buffer of `size` registers. */
template <typename T>
std::pair<bool, std::vector<T>> readBurstFrom(Rynvel::Device<T>& device, unsigned int items, std::size_t size,
                                              Rynvel::ByteOrder order = Rynvel::ByteOrder::Host) {
    std::vector<T> values(size, untouched<T>);
    const bool result = device.read(0, values.data(), items, order);
    return {result, values};
}

inline std::pair<bool, unsigned long> interruptTypeOf(Rynvel::IDevice& device) {
    unsigned long type = untouched<unsigned long>;
    const bool result = device.getInterruptType(&type);
    return {result, type};
}

inline std::pair<bool, unsigned long> waitForInterruptOf(Rynvel::IDevice& device) {
    unsigned long info = untouched<unsigned long>;
    const bool result = device.waitForInterrupt(&info);
    return {result, info};
}

} // namespace RynvelTest

#endif
