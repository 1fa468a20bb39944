/* SPDX-License-Identifier: MIT */
#ifndef RYNVEL_TESTS_CFUNCTIONS_H
#define RYNVEL_TESTS_CFUNCTIONS_H

#include <rynvel.h>

#include <cstdint>
#include <type_traits>
#include <vector>

namespace RynvelTest {

/** The functions of the C interface for one register width and one kind of address. */
template <typename T>
struct CFunctions {
    using Register = T;

    int (*read)(int handle, unsigned int address, T* value);
    int (*write)(int handle, unsigned int address, T value);
    int (*writeBitmask)(int handle, unsigned int address, T data, T bitmask);
    int (*burstRead)(int handle, unsigned int address, T* values, unsigned int items, int byteOrder);
    int (*burstWrite)(int handle, unsigned int address, const T* values, unsigned int items, int byteOrder);
    /** The ratio of the address that a function receives to the address that the function passes to the device. */
    unsigned int divisor;

    /** Returns whether a burst with this argument has Host order. An 8-bit burst always has Host order. */
    static bool isHostOrder(int byteOrder) { return sizeof(T) == 1 || byteOrder == 0; }
};

/** The functions for registers of type T, one item for each kind of address. */
template <typename T>
const std::vector<CFunctions<T>> cFunctions;

template <>
inline const std::vector<CFunctions<std::uint8_t>> cFunctions<std::uint8_t>{
    {Rynvel_read8, Rynvel_write8, Rynvel_writeBitmask8,
     [](int handle, unsigned int address, std::uint8_t* values, unsigned int items, int /*byteOrder*/) {
         return Rynvel_burstRead8(handle, address, values, items);
     },
     [](int handle, unsigned int address, const std::uint8_t* values, unsigned int items, int /*byteOrder*/) {
         return Rynvel_burstWrite8(handle, address, values, items);
     },
     1}};

template <>
inline const std::vector<CFunctions<std::uint16_t>> cFunctions<std::uint16_t>{
    {Rynvel2_read16, Rynvel2_write16, Rynvel2_writeBitmask16, Rynvel2_burstRead16, Rynvel2_burstWrite16, 1},
    {Rynvel_read16, Rynvel_write16, Rynvel_writeBitmask16, Rynvel_burstRead16, Rynvel_burstWrite16, 2}};

template <>
inline const std::vector<CFunctions<std::uint32_t>> cFunctions<std::uint32_t>{
    {Rynvel2_read32, Rynvel2_write32, Rynvel2_writeBitmask32, Rynvel2_burstRead32, Rynvel2_burstWrite32, 1},
    {Rynvel_read32, Rynvel_write32, Rynvel_writeBitmask32, Rynvel_burstRead32, Rynvel_burstWrite32, 4}};

/**
 * Calls the body for three devices, with each set of functions of their width.
 * @param handle8 the handle of the 8-bit device. The 16-bit and the 32-bit device have the next two handles.
 */
template <typename Body>
void forAllCFunctions(int handle8, Body body) {
    const auto forWidth = [&body](int handle, const auto& all) {
        for (const auto& functions : all) {
            body(handle, functions);
        }
    };
    forWidth(handle8, cFunctions<std::uint8_t>);
    forWidth(handle8 + 1, cFunctions<std::uint16_t>);
    forWidth(handle8 + 2, cFunctions<std::uint32_t>);
}

/** The register type of a CFunctions type. */
template <typename Functions>
using RegisterOf = typename std::decay_t<Functions>::Register;

} // namespace RynvelTest

#endif
