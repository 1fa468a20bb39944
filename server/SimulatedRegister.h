/* SPDX-License-Identifier: MIT */
/**
 * @file
 * A register in memory that behaves as a register map says.
 */
#ifndef RYNVELD_SIMULATEDREGISTER_H
#define RYNVELD_SIMULATEDREGISTER_H

#include <cstdint>
#include <optional>
#include <vector>

#include "Model.h"

namespace Rynveld {

constexpr bool isWrittenOnce(Maps::Access access) {
    return access == Maps::Access::WriteOnce || access == Maps::Access::ReadWriteOnce;
}

/** Bits of a register that share their behavior. */
struct RegisterBits {
    std::uint64_t mask = 0;
    /** The value after a reset. The bits outside the mask are 0. */
    std::uint64_t resetValue = 0;
    Maps::Access access = Maps::Access::ReadWrite;
    std::optional<Maps::ReadAction> readAction;
    Maps::ModifiedWrite modifiedWrite = Maps::ModifiedWrite::Modify;
};

/** A register in memory. Bits without a description store their values, and are 0 at first. Threads: one at a time. */
class SimulatedRegister {
public:
    /** @param bits the described bits. Their masks must not overlap. */
    explicit SimulatedRegister(std::vector<RegisterBits> bits);

    /** Returns the value before the read actions, with 0 for write-only bits. Then performs the read actions. */
    std::uint64_t read();

    /** Writes `data` to each bit as its description says. Write-once bits keep their values after the first call. */
    void write(std::uint64_t data);

private:
    bool accepts(const RegisterBits& bits) const;

    const std::vector<RegisterBits> m_bits;
    std::uint64_t m_value = 0;
    bool m_isWritten = false;
};

} // namespace Rynveld

#endif
