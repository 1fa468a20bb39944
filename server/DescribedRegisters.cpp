// SPDX-License-Identifier: MIT
#include "DescribedRegisters.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "FieldValues.h"
#include "RegisterName.h"
#include "RegisterWord.h"

namespace Rynveld {

namespace {

using BitsList = std::vector<RegisterBits>;

/** @param described a register or a field. */
template <typename T>
RegisterBits behaviorOf(const T& described, std::uint64_t mask, std::uint64_t resetValue) {
    return {mask, resetValue & mask, described.access, described.readAction, described.modifiedWrite};
}

BitsList behaviorOf(const Maps::Register& described) {
    const std::uint64_t resetValue = described.resetValue.value_or(0) & described.resetMask;
    std::uint64_t withoutField = Maps::bitsOf(described);
    BitsList list;
    for (const Maps::Field& field : described.fields) {
        if (Maps::isInside(field, described)) {
            list.push_back(behaviorOf(field, Maps::maskOf(field), resetValue));
            withoutField &= ~Maps::maskOf(field);
        }
    }
    list.push_back(behaviorOf(described, withoutField, resetValue));
    return list;
}

RegisterBits limitedTo(RegisterBits bits, std::uint64_t mask) {
    bits.mask &= mask;
    bits.resetValue &= mask;
    return bits;
}

BitsList withoutOverlaps(BitsList list) {
    std::stable_partition(list.begin(), list.end(),
                          [](const RegisterBits& bits) { return Maps::isReadable(bits.access); });
    std::uint64_t taken = 0;
    for (RegisterBits& bits : list) {
        bits = limitedTo(bits, ~taken);
        taken |= bits.mask;
    }
    return list;
}

/** The bits of the registers of a device, by index. */
class BitsByIndex {
public:
    explicit BitsByIndex(unsigned int width) : m_width(width) {}

    void add(const Maps::LocatedRegister& located) {
        for (const RegisterBits& bits : behaviorOf(*located.contents)) {
            add(located.offset, bits);
        }
    }

    DescribedRegisters registers() const {
        DescribedRegisters registers;
        for (const auto& [index, list] : m_lists) {
            registers.emplace(index, withoutOverlaps(list));
        }
        return registers;
    }

private:
    void add(std::uint64_t offset, RegisterBits bits) {
        const unsigned int bytes = Common::bytesOf(m_width);
        unsigned int shift = 8U * static_cast<unsigned int>(offset % bytes);
        for (std::uint64_t index = offset / bytes; bits.mask != 0; ++index) {
            RegisterBits inRegister = bits;
            inRegister.mask <<= shift;
            inRegister.resetValue <<= shift;
            m_lists[index].push_back(limitedTo(inRegister, Common::maxValue(m_width)));
            bits.mask >>= m_width - shift;
            bits.resetValue >>= m_width - shift;
            shift = 0;
        }
    }

    const unsigned int m_width;
    std::map<std::uint64_t, BitsList> m_lists;
};

} // namespace

DescribedRegisters describedRegisters(const Maps::Peripheral& peripheral, unsigned int width) {
    BitsByIndex bits(width);
    for (const Maps::LocatedRegister& located : Maps::registersOf(peripheral)) {
        bits.add(located);
    }
    return bits.registers();
}

} // namespace Rynveld
