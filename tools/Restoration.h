/* SPDX-License-Identifier: MIT */
/**
 * @file
 * Gives registers the values of a snapshot.
 */
#ifndef RYNVELCTL_RESTORATION_H
#define RYNVELCTL_RESTORATION_H

#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "FieldWrite.h"
#include "OpenDevice.h"
#include "RegisterMap.h"
#include "Report.h"
#include "Snapshot.h"

namespace Rynvelctl {

/** Writes the registers and fields that are writable and differ from the snapshot. */
class Restoration {
public:
    enum class Mode {
        Write,
        /** Only finds out what a restoration would write. */
        DryRun
    };

    /** @param map and `device` must outlive this object. */
    Restoration(const RegisterMap& map, OpenDevice& device, Mode mode);

    /**
     * Writes and reads back each register, in the order of the snapshot. It ends at the first failure.
     *
     * @return the failure; none if there is none.
     */
    std::optional<Failure> restore(const Snapshot& snapshot);

    /** Returns the registers that were written, and those that were left as they are. */
    std::vector<Report> reports() const;

private:
    void restore(const SavedRegister& saved);
    /** Returns why a register of the snapshot cannot be compared with the device; empty if it can. */
    std::string obstacleTo(const SavedRegister& saved) const;
    /** Returns whether the map has a register of that name, even one that the device cannot access. */
    bool isDescribed(const std::string& name) const;
    /** Returns the write that a register needs; none if no part that differs can be written. */
    std::optional<Maps::FieldWrite> planWrite(const MappedRegister& target, std::uint32_t current,
                                              std::uint32_t wanted);
    std::vector<Maps::Assignment> differingFields(const MappedRegister& target, std::uint32_t current,
                                                  std::uint32_t wanted);
    void write(const MappedRegister& target, std::uint32_t current, const Maps::FieldWrite& write);
    void skip(const std::string& reason, const std::string& name);
    Failure incomplete(const Failure& failure, const Snapshot& snapshot, std::size_t failed) const;

    const RegisterMap& m_map;
    OpenDevice& m_device;
    const Mode m_mode;
    std::unordered_map<std::string, MappedRegister> m_registers;
    std::vector<RestoredRegister> m_restored;
    std::vector<SkippedRegisters> m_skipped;
};

} // namespace Rynvelctl

#endif
