// SPDX-License-Identifier: MIT
#include "DeviceRegisters.h"

#include <algorithm>

#include "Count.h"
#include "Number.h"
#include "RegisterWord.h"

namespace Maps {

namespace {

constexpr unsigned int bitsOfByte = 8;

/** Returns an offset in bytes as an offset in bits; UINT64_MAX if the result does not fit in 64 bits. */
std::uint64_t bitsBefore(std::uint64_t offset) {
    return offset > UINT64_MAX / bitsOfByte ? UINT64_MAX : offset * bitsOfByte;
}

/** Returns the offset of the first bit after a register, in bits; UINT64_MAX if the offset does not fit in 64 bits. */
std::uint64_t endOf(const LocatedRegister& located) {
    const std::uint64_t start = bitsBefore(located.offset);
    return start > UINT64_MAX - located.contents->size ? UINT64_MAX : start + located.contents->size;
}

std::string bitRegisters(unsigned int width) { return std::to_string(width) + "-bit registers"; }

} // namespace

DeviceRegisters::DeviceRegisters(const Peripheral& peripheral, unsigned int width)
    : m_width(width), m_registers(registersOf(peripheral)) {
    Extent extent{0, 0};
    for (std::size_t i = 0; i < m_registers.size(); ++i) {
        const std::uint64_t end = endOf(m_registers[i]);
        extent.furthest = end > endOf(m_registers[extent.furthest]) ? i : extent.furthest;
        extent.readEffectEnd =
            hasReadSideEffect(*m_registers[i].contents) ? std::max(extent.readEffectEnd, end) : extent.readEffectEnd;
        m_extents.push_back(extent);
        ModifiedBits& modified = m_modifiedBits[m_registers[i].offset];
        modified = modified | modifiedBitsOf(*m_registers[i].contents);
    }
}

std::string DeviceRegisters::obstacleTo(const LocatedRegister& located) const {
    const unsigned int bytes = Common::bytesOf(m_width);
    const std::string object = nameWithKind(located);
    if (located.contents->size > m_width) {
        return object + " has " + std::to_string(located.contents->size) + " bits (the device has " +
               bitRegisters(m_width) + ")";
    }
    if (located.offset > UINT32_MAX) {
        return object + " is outside the 32-bit address range";
    }
    if (located.offset % bytes != 0) {
        return object + ": offset " + Common::hexadecimal(located.offset) + " is not a multiple of " +
               std::to_string(bytes) + " (" + bitRegisters(m_width) + ")";
    }
    if (const LocatedRegister* const neighbor = neighborOf(located)) {
        return object + " has " + Common::counted(located.contents->size, "bit") +
               " and shares a register of the device with register " + neighbor->name + " (the device has " +
               bitRegisters(m_width) + ")";
    }
    return "";
}

Word DeviceRegisters::wordOf(const LocatedRegister& located) const {
    return {m_width, hasReadSideEffectAt(located), m_modifiedBits.at(located.offset)};
}

std::size_t DeviceRegisters::countBefore(std::uint64_t offset) const {
    const auto end =
        std::lower_bound(m_registers.begin(), m_registers.end(), offset,
                         [](const LocatedRegister& located, std::uint64_t limit) { return located.offset < limit; });
    return static_cast<std::size_t>(end - m_registers.begin());
}

const LocatedRegister* DeviceRegisters::extendingBeyond(std::uint64_t offset) const {
    const LocatedRegister* const furthest = furthestOf(countBefore(offset));
    return furthest != nullptr && endOf(*furthest) > bitsBefore(offset) ? furthest : nullptr;
}

const LocatedRegister* DeviceRegisters::furthestOf(std::size_t count) const {
    return count == 0 ? nullptr : &m_registers[m_extents[count - 1].furthest];
}

bool DeviceRegisters::hasReadSideEffectAt(const LocatedRegister& located) const {
    const unsigned int bytes = Common::bytesOf(m_width);
    const std::uint64_t word = located.offset - located.offset % bytes;
    const std::size_t count = countBefore(word + bytes);
    return count != 0 && m_extents[count - 1].readEffectEnd > bitsBefore(word);
}

const LocatedRegister* DeviceRegisters::neighborOf(const LocatedRegister& located) const {
    if (located.contents->size >= m_width) {
        return nullptr;
    }
    if (const LocatedRegister* const earlier = extendingBeyond(located.offset)) {
        return earlier;
    }
    const std::size_t next = countBefore(located.offset + 1);
    const LocatedRegister* const wider = furthestOf(next);
    if (wider != nullptr && endOf(*wider) > endOf(located)) {
        return wider;
    }
    const bool isInWord =
        next < m_registers.size() && m_registers[next].offset - located.offset < Common::bytesOf(m_width);
    return isInWord ? &m_registers[next] : nullptr;
}

} // namespace Maps
