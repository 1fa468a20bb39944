// SPDX-License-Identifier: MIT
/**
 * @file The registers of a map, and the conditions under which a device with a given register width can access them.
 */
#ifndef RYNVEL_MAPS_DEVICEREGISTERS_H
#define RYNVEL_MAPS_DEVICEREGISTERS_H

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "FieldWrite.h"
#include "RegisterName.h"

namespace Maps {

/**
 * All registers of a peripheral, in the order of their offsets.
 *
 * A word is a register of the device. A register of the map begins in a word, and may be narrower or wider than the
 * word.
 */
class DeviceRegisters {
public:
    /**
     * @param peripheral the peripheral, which must outlive this object and the registers that this object returns.
     * @param width the register width of the device in bits.
     */
    DeviceRegisters(const Peripheral& peripheral, unsigned int width);

    /** Returns the register width of the device in bits. */
    unsigned int width() const { return m_width; }

    const std::vector<LocatedRegister>& all() const { return m_registers; }

    /** Returns the reason why the device cannot access a register; empty if the device can access the register. */
    std::string obstacleTo(const LocatedRegister& located) const;

    /** Returns the word in which a register begins. */
    Word wordOf(const LocatedRegister& located) const;

    /** Returns the number of registers that begin before an offset. */
    std::size_t countBefore(std::uint64_t offset) const;

    /**
     * Searches the registers that begin before an offset for the register with the highest end. Returns this register
     * if it ends after the offset, and null otherwise.
     */
    const LocatedRegister* extendingBeyond(std::uint64_t offset) const;

private:
    /** The ends of all registers up to a position in m_registers. */
    struct Extent {
        /** The position of the register that ends last. */
        std::size_t furthest;
        /** The highest end, in bits, of the registers for which hasReadSideEffect() is true; 0 if there are none. */
        std::uint64_t readEffectEnd;
    };

    /** Returns the register that ends last among the first `count` registers; null if `count` is 0. */
    const LocatedRegister* furthestOf(std::size_t count) const;
    /** Returns whether reading the word of a register has a side effect on one of the registers in the word. */
    bool hasReadSideEffectAt(const LocatedRegister& located) const;
    /**
     * Returns another register in the word of a register that is narrower than the word; null if there is none. The
     * function ignores a register at the same offset that is not wider, because this register is an alternative.
     */
    const LocatedRegister* neighborOf(const LocatedRegister& located) const;

    unsigned int m_width;
    std::vector<LocatedRegister> m_registers;
    /** One extent for each register. */
    std::vector<Extent> m_extents;
    /** The modified bits of all registers at an offset. */
    std::map<std::uint64_t, ModifiedBits> m_modifiedBits;
};

} // namespace Maps

#endif
