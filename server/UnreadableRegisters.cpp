// SPDX-License-Identifier: MIT
#include "UnreadableRegisters.h"

#include <algorithm>

#include "FieldWrite.h"
#include "RegisterName.h"

namespace Rynveld {

namespace {

bool mustNotBeRead(const Maps::Register& contents) {
    return Maps::hasReadSideEffect(contents) || !Maps::isReadable(contents.access);
}

} // namespace

UnreadableRegisters::UnreadableRegisters(const Maps::Peripheral* description) {
    if (description == nullptr) {
        return;
    }
    for (const Maps::LocatedRegister& located : Maps::registersOf(*description)) {
        if (mustNotBeRead(*located.contents)) {
            const std::uint64_t bytes = (located.contents->size + 7) / 8;
            m_registers.emplace_back(located.offset, located.offset + bytes);
        }
    }
}

bool UnreadableRegisters::overlap(std::uint64_t offset, std::uint64_t size) const {
    return std::any_of(m_registers.begin(), m_registers.end(),
                       [&](const auto& bounds) { return bounds.first < offset + size && offset < bounds.second; });
}

} // namespace Rynveld
