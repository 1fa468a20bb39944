// SPDX-License-Identifier: MIT
#include "SnapshotRestorer.h"

#include "NumberArguments.h"
#include "ProgressBar.h"
#include "WriteOutcome.h"

namespace Rynvelctl {

namespace {

using Maps::Field;
using Maps::FieldWrite;
using Maps::ModifiedWrite;

const char* const readOnly = "read-only";
const char* const writeOnly = "write-only";
const char* const modifiesWrites = "a write does not store the value";
const char* const changesAnother = "a write changes another register at the same address";
const char* const repeatsReads = "a write must repeat the value that was read";

bool repeats(const std::optional<Maps::WriteConstraint>& constraint) {
    return constraint && constraint->kind == Maps::WriteConstraint::Kind::WriteAsRead;
}

/** Returns the reason why a write cannot store an arbitrary value in a field; empty if it can. */
std::string obstacleTo(const Field& field) {
    if (!Maps::isWritable(field.access)) {
        return readOnly;
    }
    if (field.modifiedWrite != ModifiedWrite::Modify) {
        return modifiesWrites;
    }
    return repeats(field.writeConstraint) ? repeatsReads : "";
}

/** Returns the reason why a write cannot store the value in a register without fields; empty if it can. */
std::string obstacleTo(const AddressedRegister& target, std::uint32_t value) {
    const Maps::Register& contents = target.contents();
    if (contents.modifiedWrite != ModifiedWrite::Modify) {
        return modifiesWrites;
    }
    if (repeats(contents.writeConstraint)) {
        return repeatsReads;
    }
    if ((target.word.modifiedBits.all() & Maps::bitsOf(contents)) != 0) {
        return changesAnother;
    }
    const bool isAllowed = !contents.writeConstraint || Maps::isAllowed(*contents.writeConstraint, value);
    return isAllowed ? "" : "the register map does not allow the value";
}

/** Returns whether a field can be compared, and has one of the bits that differ. */
bool isDifferent(const Field& field, const Maps::Register& contents, std::uint64_t bits) {
    return Maps::isInside(field, contents) && Maps::isReadable(field.access) && (bits & Maps::maskOf(field)) != 0;
}

/** Returns the write of a register without fields. */
FieldWrite wholeWrite(const AddressedRegister& target, std::uint32_t value) {
    FieldWrite write;
    write.assigned = {value, Maps::bitsOf(target.contents())};
    write.written = write.assigned;
    write.isWhole = target.contents().size == target.word.width;
    return write;
}

std::uint32_t valueIn(const AddressedRegister& target, std::uint32_t word) {
    return word & static_cast<std::uint32_t>(Maps::bitsOf(target.contents()));
}

} // namespace

SnapshotRestorer::SnapshotRestorer(const RegisterMap& map, OpenDevice& device, const CommandTimeout& timeout, Mode mode)
    : m_map(map), m_device(device), m_timeout(timeout), m_mode(mode) {
    for (const Maps::LocatedRegister& located : map.locatedRegisters()) {
        m_described.insert(located.name);
    }
    for (const AddressedRegister& mapped : map.registers()) {
        m_registers.emplace(mapped.name(), mapped);
    }
}

std::optional<Failure> SnapshotRestorer::restore(const Snapshot& snapshot) {
    ProgressBar bar(m_map.device().name(), snapshot.registers.size());
    for (std::size_t i = 0; i < snapshot.registers.size(); ++i) {
        bar.advance();
        try {
            m_timeout.requireTimeLeft(m_map.device().name());
            restore(snapshot.registers[i]);
        } catch (const Failure& failure) {
            return m_mode == Mode::DryRun ? failure : incomplete(failure, snapshot, i);
        }
    }
    return std::nullopt;
}

void SnapshotRestorer::restore(const SavedRegister& saved) {
    if (const auto obstacle = obstacleTo(saved)) {
        skip(obstacle->reason, saved.name);
        m_isMatching = m_isMatching && obstacle->isMatching;
        return;
    }
    const AddressedRegister& target = m_registers.at(saved.name);
    const std::uint32_t current = valueIn(target, m_device.read(target.range));
    if (current == saved.value) {
        return;
    }
    if (const auto planned = planWrite(target, current, saved.value)) {
        write(target, current, *planned);
    }
}

std::optional<SnapshotRestorer::Obstacle> SnapshotRestorer::obstacleTo(const SavedRegister& saved) const {
    const auto found = m_registers.find(saved.name);
    if (found == m_registers.end()) {
        const bool isDescribed = m_described.count(saved.name) != 0;
        return Obstacle{isDescribed ? "the device cannot access it" : "not in the register map", false};
    }
    const AddressedRegister& target = found->second;
    if (target.located.offset != saved.offset || target.contents().size != saved.size) {
        return Obstacle{"the register map has another offset or size", false};
    }
    if (!target.range.isInside(m_device.mapSize())) {
        return Obstacle{"outside the map of the device", false};
    }
    if (!Maps::isReadable(target.contents())) {
        return Obstacle{writeOnly, true};
    }
    if (target.word.hasReadSideEffect) {
        return Obstacle{"reading has a side effect", true};
    }
    return std::nullopt;
}

std::optional<FieldWrite> SnapshotRestorer::planWrite(const AddressedRegister& target, std::uint32_t current,
                                                      std::uint32_t wanted) {
    const Maps::Register& contents = target.contents();
    if (!Maps::isWritable(contents)) {
        skip(readOnly, target.name());
        return std::nullopt;
    }
    if (contents.fields.empty()) {
        const std::string obstacle = Rynvelctl::obstacleTo(target, wanted);
        if (obstacle.empty()) {
            return wholeWrite(target, wanted);
        }
        skip(obstacle, target.name());
        return std::nullopt;
    }
    const std::vector<Maps::FieldAssignment> assignments = differingFields(target, current, wanted);
    if (assignments.empty()) {
        return std::nullopt;
    }
    try {
        return Maps::planWrite(target.located, assignments, target.word);
    } catch (const Maps::RefusedValue& refusal) {
        skip(refusal.what(), target.name());
        return std::nullopt;
    }
}

std::vector<Maps::FieldAssignment> SnapshotRestorer::differingFields(const AddressedRegister& target,
                                                                     std::uint32_t current, std::uint32_t wanted) {
    std::vector<Maps::FieldAssignment> assignments;
    std::uint64_t different = current ^ wanted;
    for (const Field& field : target.contents().fields) {
        if (isDifferent(field, target.contents(), different) && Rynvelctl::obstacleTo(field).empty()) {
            assignments.push_back({&field, hexadecimal(Maps::decode(field, wanted).value)});
            // Assigns each bit only once, because another field may share it.
            different &= ~Maps::maskOf(field);
        }
    }
    skipFields(target, different);
    return assignments;
}

void SnapshotRestorer::skipFields(const AddressedRegister& target, std::uint64_t bits) {
    std::uint64_t others = bits;
    for (const Field& field : target.contents().fields) {
        if (isDifferent(field, target.contents(), bits)) {
            skip(Rynvelctl::obstacleTo(field), target.name() + '.' + field.name);
            others &= ~Maps::maskOf(field);
        }
    }
    skipOtherBits(target, others);
}

void SnapshotRestorer::skipOtherBits(const AddressedRegister& target, std::uint64_t bits) {
    for (const Field& field : target.contents().fields) {
        const bool isInvisible = Maps::isInside(field, target.contents()) && !Maps::isReadable(field.access);
        if (isInvisible && (bits & Maps::maskOf(field)) != 0) {
            skip(writeOnly, target.name() + '.' + field.name);
            bits &= ~Maps::maskOf(field);
        }
    }
    if (bits != 0) {
        skip("bits outside the fields differ", target.name());
    }
}

void SnapshotRestorer::write(const AddressedRegister& target, std::uint32_t current, const FieldWrite& write) {
    const auto mask = static_cast<std::uint32_t>(write.assigned.mask);
    const auto value = static_cast<std::uint32_t>(write.assigned.value);
    std::uint32_t result = (current & ~mask) | value;
    if (m_mode == Mode::Write) {
        writeFields(target.range, write);
        result = valueIn(target, m_device.read(target.range));
        if ((result & mask) != value) {
            const unsigned int width = target.contents().size;
            throw Failure(ExitStatus::Failed, target.range.device().name() + ": " + target.name() + " holds " +
                                                  hexadecimal(result, width) + " after " +
                                                  hexadecimal((current & ~mask) | value, width) + " was written");
        }
    }
    m_outcome = notRestored;
    m_restored.push_back({target.range, target.contents().size, current, result, m_mode == Mode::Write});
}

void SnapshotRestorer::writeFields(const RegisterRange& range, const FieldWrite& write) {
    const auto value = static_cast<std::uint32_t>(write.written.value);
    try {
        if (write.isWhole) {
            m_device.write(range, value);
        } else {
            m_device.write(range, value, static_cast<std::uint32_t>(write.written.mask));
        }
    } catch (const UnansweredRequest&) {
        m_outcome = unknown;
        throw;
    }
    m_outcome = unconfirmed;
}

void SnapshotRestorer::skip(const std::string& reason, const std::string& name) {
    const auto [known, isNew] = m_reasons.emplace(reason, m_skipped.size());
    if (isNew) {
        m_skipped.push_back({m_map.device().name(), reason, {}});
    }
    m_skipped[known->second].names.push_back(name);
}

Failure SnapshotRestorer::incomplete(const Failure& failure, const Snapshot& snapshot, std::size_t failed) const {
    std::vector<std::string> restored;
    for (const RestoredRegister& each : m_restored) {
        restored.push_back(each.range.name());
    }
    std::vector<std::string> later;
    for (std::size_t i = failed + 1; i < snapshot.registers.size(); ++i) {
        later.push_back(snapshot.registers[i].name);
    }
    return extended(failure, piecesOf({"restored", namesOrNone(restored), m_outcome, snapshot.registers[failed].name,
                                       namesOrNone(later)}));
}

} // namespace Rynvelctl
