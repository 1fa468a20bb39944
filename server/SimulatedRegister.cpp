// SPDX-License-Identifier: MIT
#include "SimulatedRegister.h"

#include <utility>

namespace Rynveld {

namespace {

constexpr std::uint64_t allOnes = UINT64_MAX;

std::uint64_t replaceBits(std::uint64_t current, std::uint64_t data, std::uint64_t mask) {
    return (current & ~mask) | (data & mask);
}

std::uint64_t afterRead(std::uint64_t current, Maps::ReadAction action) {
    switch (action) {
    case Maps::ReadAction::Clear:
        return 0;
    case Maps::ReadAction::Set:
        return allOnes;
    case Maps::ReadAction::Modify:
    case Maps::ReadAction::ModifyExternal:
        break;
    }
    return current;
}

std::uint64_t afterWrite(std::uint64_t current, std::uint64_t data, Maps::ModifiedWrite action) {
    switch (action) {
    case Maps::ModifiedWrite::OneToClear:
        return current & ~data;
    case Maps::ModifiedWrite::OneToSet:
        return current | data;
    case Maps::ModifiedWrite::OneToToggle:
        return current ^ data;
    case Maps::ModifiedWrite::ZeroToClear:
        return current & data;
    case Maps::ModifiedWrite::ZeroToSet:
        return current | ~data;
    case Maps::ModifiedWrite::ZeroToToggle:
        return current ^ ~data;
    case Maps::ModifiedWrite::Clear:
        return 0;
    case Maps::ModifiedWrite::Set:
        return allOnes;
    case Maps::ModifiedWrite::Modify:
        break;
    }
    return data;
}

} // namespace

SimulatedRegister::SimulatedRegister(std::vector<RegisterBits> bits) : m_bits(std::move(bits)) {
    for (const RegisterBits& each : m_bits) {
        m_value |= each.resetValue;
    }
}

std::uint64_t SimulatedRegister::read() {
    std::uint64_t visible = m_value;
    for (const RegisterBits& each : m_bits) {
        if (!Maps::isReadable(each.access)) {
            visible &= ~each.mask;
        } else if (each.readAction) {
            m_value = replaceBits(m_value, afterRead(m_value, *each.readAction), each.mask);
        }
    }
    return visible;
}

void SimulatedRegister::write(std::uint64_t data) {
    std::uint64_t written = data;
    for (const RegisterBits& each : m_bits) {
        const std::uint64_t result = accepts(each) ? afterWrite(m_value, data, each.modifiedWrite) : m_value;
        written = replaceBits(written, result, each.mask);
    }
    m_value = written;
    m_isWritten = true;
}

bool SimulatedRegister::accepts(const RegisterBits& bits) const {
    return Maps::isWritable(bits.access) && !(m_isWritten && isWrittenOnce(bits.access));
}

} // namespace Rynveld
