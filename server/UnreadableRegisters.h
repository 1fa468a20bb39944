/* SPDX-License-Identifier: MIT */
/**
 * @file
 * The registers that the server must not read for the audit.
 */
#ifndef RYNVELD_UNREADABLEREGISTERS_H
#define RYNVELD_UNREADABLEREGISTERS_H

#include <cstdint>
#include <utility>
#include <vector>

#include "Model.h"

namespace Rynveld {

/**
 * The registers of a device that a register map describes as write-only, and those whose reading has a side effect on
 * the register or on one of its fields.
 */
class UnreadableRegisters {
public:
    /** @param description the description of the device; null if there is none. */
    explicit UnreadableRegisters(const Maps::Peripheral* description);

    /** Returns whether one of these registers overlaps the `size` bytes at a byte offset. */
    bool overlap(std::uint64_t offset, std::uint64_t size) const;

private:
    /** For each register, the byte offsets of its first byte and of the byte after its last. */
    std::vector<std::pair<std::uint64_t, std::uint64_t>> m_registers;
};

} // namespace Rynveld

#endif
