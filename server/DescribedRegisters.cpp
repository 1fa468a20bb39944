// SPDX-License-Identifier: MIT
#include "DescribedRegisters.h"

#include <numeric>
#include <optional>
#include <utility>
#include <vector>

#include "FieldValues.h"
#include "RegisterName.h"
#include "RegisterWord.h"

namespace Rynveld {

namespace {

using BitsList = std::vector<RegisterBits>;

/** Descriptions of bits. The bits of several descriptions may overlap. */
struct Descriptions {
    /** The bits of fields, and of registers without fields. */
    BitsList described;
    /** The bits outside the fields of registers that have fields. */
    BitsList outsideFields;
};

/** @param described a register or a field. */
template <typename T>
RegisterBits behaviorOf(const T& described, std::uint64_t mask, std::uint64_t resetValue) {
    return {mask, resetValue & mask, described.access, described.readAction, described.modifiedWrite};
}

Descriptions behaviorOf(const Maps::Register& described) {
    const std::uint64_t resetValue = described.resetValue.value_or(0) & described.resetMask;
    std::uint64_t withoutField = Maps::bitsOf(described);
    BitsList fields;
    for (const Maps::Field& field : described.fields) {
        if (Maps::isInside(field, described)) {
            fields.push_back(behaviorOf(field, Maps::maskOf(field), resetValue));
            withoutField &= ~Maps::maskOf(field);
        }
    }
    const RegisterBits others = behaviorOf(described, withoutField, resetValue);
    return fields.empty() ? Descriptions{{others}, {}} : Descriptions{std::move(fields), {others}};
}

RegisterBits limitedTo(RegisterBits bits, std::uint64_t mask) {
    bits.mask &= mask;
    bits.resetValue &= mask;
    return bits;
}

std::uint64_t maskOf(const BitsList& list) {
    return std::accumulate(list.begin(), list.end(), std::uint64_t{0},
                           [](std::uint64_t mask, const RegisterBits& bits) { return mask | bits.mask; });
}

/** The first description that was added for each bit. */
class FirstDescriptions {
public:
    void add(const RegisterBits& bits) {
        const RegisterBits added = limitedTo(bits, ~m_mask);
        if (added.mask != 0) {
            m_list.push_back(added);
            m_mask |= added.mask;
        }
    }

    template <typename Predicate>
    void addIf(const BitsList& list, const Predicate& predicate, std::uint64_t mask = UINT64_MAX) {
        for (const RegisterBits& bits : list) {
            if (predicate(bits)) {
                add(limitedTo(bits, mask));
            }
        }
    }

    const BitsList& list() const { return m_list; }
    std::uint64_t mask() const { return m_mask; }

private:
    BitsList m_list;
    std::uint64_t m_mask = 0;
};

bool isReadable(const RegisterBits& bits) { return Maps::isReadable(bits.access); }

// Excludes write-only bits that a write only stores, because no read shows their values.
bool isVisiblyWritable(const RegisterBits& bits) {
    return Maps::isWritable(bits.access) && (isReadable(bits) || bits.modifiedWrite != Maps::ModifiedWrite::Modify);
}

RegisterBits withAccess(Maps::Access access, std::uint64_t mask) {
    return {mask, 0, access, std::nullopt, Maps::ModifiedWrite::Modify};
}

Maps::Access accessOf(const RegisterBits& read, const RegisterBits& written) {
    if (!isReadable(read)) {
        return Maps::Access::WriteOnly;
    }
    if (!Maps::isWritable(written.access)) {
        return Maps::Access::ReadOnly;
    }
    return isWrittenOnce(written.access) ? Maps::Access::ReadWriteOnce : Maps::Access::ReadWrite;
}

/** Returns the bits that are in both lists. A bit is read as `read` describes, and written as `written` describes. */
BitsList combine(const BitsList& read, const BitsList& written) {
    BitsList combined;
    for (const RegisterBits& r : read) {
        for (const RegisterBits& w : written) {
            const std::uint64_t mask = r.mask & w.mask;
            if (mask != 0) {
                combined.push_back({mask, r.resetValue & mask, accessOf(r, w), r.readAction, w.modifiedWrite});
            }
        }
    }
    return combined;
}

BitsList withoutOverlaps(const Descriptions& descriptions) {
    FirstDescriptions read;
    read.addIf(descriptions.described, isReadable);
    const std::uint64_t describedToRead = read.mask();
    read.addIf(descriptions.outsideFields, isReadable);
    FirstDescriptions written;
    written.addIf(descriptions.described, isVisiblyWritable);
    written.addIf(descriptions.outsideFields, isVisiblyWritable, ~describedToRead);
    const std::uint64_t all = maskOf(descriptions.described) | maskOf(descriptions.outsideFields);
    read.add(withAccess(Maps::Access::WriteOnly, all));
    written.add(withAccess(Maps::Access::ReadOnly, all));
    return combine(read.list(), written.list());
}

/** The descriptions of the bits of a device, by the index of the register. */
class BitsByIndex {
public:
    explicit BitsByIndex(unsigned int width) : m_width(width) {}

    void add(const Maps::LocatedRegister& located) {
        const Descriptions descriptions = behaviorOf(*located.contents);
        add(located.offset, descriptions.described, &Descriptions::described);
        add(located.offset, descriptions.outsideFields, &Descriptions::outsideFields);
    }

    DescribedRegisters registers() const {
        DescribedRegisters registers;
        for (const auto& [index, descriptions] : m_descriptions) {
            registers.emplace(index, withoutOverlaps(descriptions));
        }
        return registers;
    }

private:
    using Kind = BitsList Descriptions::*;

    void add(std::uint64_t offset, const BitsList& list, Kind kind) {
        for (const RegisterBits& bits : list) {
            add(offset, bits, kind);
        }
    }

    void add(std::uint64_t offset, RegisterBits bits, Kind kind) {
        const unsigned int bytes = Common::bytesOf(m_width);
        unsigned int shift = 8U * static_cast<unsigned int>(offset % bytes);
        for (std::uint64_t index = offset / bytes; bits.mask != 0; ++index) {
            RegisterBits inRegister = bits;
            inRegister.mask <<= shift;
            inRegister.resetValue <<= shift;
            (m_descriptions[index].*kind).push_back(limitedTo(inRegister, Common::maxValue(m_width)));
            bits.mask >>= m_width - shift;
            bits.resetValue >>= m_width - shift;
            shift = 0;
        }
    }

    const unsigned int m_width;
    std::map<std::uint64_t, Descriptions> m_descriptions;
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
