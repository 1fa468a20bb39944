/* SPDX-License-Identifier: MIT */
/**
 * @file
 * The registers that a server must not read by itself.
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

    /** Returns whether reading bytes of the device reads one of these registers. */
    bool overlap(std::uint64_t offset, std::uint64_t size) const;

private:
    /** The offsets in bytes of the beginning and the end of each register. */
    std::vector<std::pair<std::uint64_t, std::uint64_t>> m_registers;
};

} // namespace Rynveld

#endif
