/* SPDX-License-Identifier: MIT */
/**
 * @file
 * Restores the registers of a device from a snapshot.
 */
#ifndef RYNVELCTL_SNAPSHOTRESTORER_H
#define RYNVELCTL_SNAPSHOTRESTORER_H

#include <optional>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "CommandTimeout.h"
#include "FieldWrite.h"
#include "OpenDevice.h"
#include "RegisterMap.h"
#include "Report.h"
#include "Snapshot.h"

namespace Rynvelctl {

/** Writes the registers and fields that are writable and differ from the snapshot. */
class SnapshotRestorer {
public:
    enum class Mode {
        Write,
        /** Writes nothing, and only determines the registers that a restoration would write. */
        DryRun
    };

    /**
     * The map, the device and the time-out must outlive this object.
     * @param timeout applies to the whole restoration, even to registers that need no access to the device.
     */
    SnapshotRestorer(const RegisterMap& map, OpenDevice& device, const CommandTimeout& timeout, Mode mode);

    /**
     * Compares the registers with the snapshot, in the order of the snapshot. Writes the parts that differ, and reads
     * them back. Ends at the first failure.
     *
     * @return the first failure; none if no operation has failed.
     */
    std::optional<Failure> restore(const Snapshot& snapshot);

    /** Returns the registers that were written; in a dry run, the registers that a restoration would write. */
    const std::vector<RestoredRegister>& restored() const { return m_restored; }

    /** Returns the registers and fields that were not restored. */
    const std::vector<SkippedRegisters>& skipped() const { return m_skipped; }

    /** Returns whether the device has all registers of the snapshot, with the same offsets and sizes. */
    bool isMatching() const { return m_isMatching; }

private:
    static constexpr const char* notRestored = "not restored";

    /** The reason why a register of the snapshot cannot be compared with the device. */
    struct Obstacle {
        std::string reason;
        /** Whether the device has the register, with the same offset and size. */
        bool isMatching;
    };

    void restore(const SavedRegister& saved);
    /** Returns the reason why a register of the snapshot cannot be compared with the device; none if it can. */
    std::optional<Obstacle> obstacleTo(const SavedRegister& saved) const;
    /** Returns the write that a register needs; none if no part that differs can be written. */
    std::optional<Maps::FieldWrite> planWrite(const AddressedRegister& target, std::uint32_t current,
                                              std::uint32_t wanted);
    std::vector<Maps::FieldAssignment> differingFields(const AddressedRegister& target, std::uint32_t current,
                                                       std::uint32_t wanted);
    /** Adds the fields that differ and are not restored to skipped(). @param bits the bits that differ. */
    void skipFields(const AddressedRegister& target, std::uint64_t bits);
    /** Adds the bits that differ and that no readable field describes to skipped(). @param bits as in skipFields(). */
    void skipOtherBits(const AddressedRegister& target, std::uint64_t bits);
    void write(const AddressedRegister& target, std::uint32_t current, const Maps::FieldWrite& write);
    void writeFields(const RegisterRange& range, const Maps::FieldWrite& write);
    void skip(const std::string& reason, const std::string& name);
    Failure incomplete(const Failure& failure, const Snapshot& snapshot, std::size_t failed) const;

    const RegisterMap& m_map;
    OpenDevice& m_device;
    const CommandTimeout& m_timeout;
    const Mode m_mode;
    std::unordered_map<std::string, AddressedRegister> m_registers;
    /** The names of all registers of the map, even of those that the device cannot access. */
    std::unordered_set<std::string> m_described;
    std::vector<RestoredRegister> m_restored;
    std::vector<SkippedRegisters> m_skipped;
    /** For each reason, the index of its element in m_skipped. */
    std::unordered_map<std::string, std::size_t> m_reasons;
    bool m_isMatching = true;
    /** The outcome for the register whose restoration has failed, for the error message. */
    const char* m_outcome = notRestored;
};

} // namespace Rynvelctl

#endif
