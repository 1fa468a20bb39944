/* SPDX-License-Identifier: MIT */
#ifndef RYNVEL_TESTS_VIRTUALSLOT_H
#define RYNVEL_TESTS_VIRTUALSLOT_H

#include <cstddef>
#include <cstring>

namespace RynvelTest {

/** Returns the slot of the vtable that a pointer to a virtual member function encodes. */
template <typename Operation>
std::size_t slotOf(Operation operation) {
    struct {
        std::ptrdiff_t pointer;
        std::ptrdiff_t adjustment;
    } encoded{};
    static_assert(sizeof(encoded) == sizeof(operation));
    std::memcpy(&encoded, &operation, sizeof(encoded));
#ifdef __arm__
    const std::ptrdiff_t offset = encoded.pointer;
#else
    const std::ptrdiff_t offset = encoded.pointer - 1;
#endif
    return static_cast<std::size_t>(offset) / sizeof(void*);
}

} // namespace RynvelTest

#endif
