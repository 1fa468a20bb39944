// SPDX-License-Identifier: MIT
#include "SnapshotComparison.h"

#include <algorithm>
#include <map>
#include <unordered_map>

#include "RegisterName.h"

namespace Rynvelctl {

namespace {

/** The registers of a snapshot by their names. */
class RegistersByName {
public:
    explicit RegistersByName(const Snapshot& snapshot) {
        for (const SavedRegister& saved : snapshot.registers) {
            m_registers.emplace(saved.name, &saved);
        }
    }

    /** Returns the corresponding register of this snapshot; null if there is none. */
    const SavedRegister* find(const SavedRegister& other) const {
        const auto found = m_registers.find(other.name);
        const bool isSame =
            found != m_registers.end() && found->second->offset == other.offset && found->second->size == other.size;
        return isSame ? found->second : nullptr;
    }

private:
    std::unordered_map<std::string, const SavedRegister*> m_registers;
};

/** The descriptions of registers by their names. */
class Descriptions {
public:
    explicit Descriptions(const Maps::Peripheral* peripheral) {
        if (peripheral != nullptr) {
            for (const Maps::LocatedRegister& located : Maps::registersOf(*peripheral)) {
                m_described.emplace(located.name, located);
            }
        }
    }

    /** Returns the readable fields that differ, from the highest bit to the lowest. */
    std::vector<FieldDifference> differences(const SavedRegister& first, const SavedRegister& second) const {
        const auto found = m_described.find(first.name);
        if (found == m_described.end() || found->second.offset != first.offset ||
            found->second.contents->size != first.size) {
            return {};
        }
        const auto firstFields = Maps::decode(*found->second.contents, first.value);
        const auto secondFields = Maps::decode(*found->second.contents, second.value);
        std::vector<FieldDifference> differences;
        for (std::size_t i = 0; i < firstFields.size(); ++i) {
            if (firstFields[i].value != secondFields[i].value) {
                differences.push_back({firstFields[i], secondFields[i]});
            }
        }
        return differences;
    }

private:
    std::unordered_map<std::string, Maps::LocatedRegister> m_described;
};

RegisterDifference presentOnlyIn(const ComparedSnapshot& compared, const SavedRegister& saved) {
    return {compared.snapshot.device, saved.name, saved.offset, saved.size, {}, {}, compared.source, {}};
}

} // namespace

std::vector<RegisterDifference> compare(const ComparedSnapshot& first, const ComparedSnapshot& second,
                                        const Maps::Peripheral* peripheral) {
    const RegistersByName firstRegisters(first.snapshot);
    const RegistersByName secondRegisters(second.snapshot);
    const Descriptions descriptions(peripheral);
    std::vector<RegisterDifference> differences;
    for (const SavedRegister& saved : first.snapshot.registers) {
        const SavedRegister* const other = secondRegisters.find(saved);
        if (other == nullptr) {
            differences.push_back(presentOnlyIn(first, saved));
            differences.back().first = saved.value;
        } else if (other->value != saved.value) {
            differences.push_back({first.snapshot.device, saved.name, saved.offset, saved.size, saved.value,
                                   other->value, "", descriptions.differences(saved, *other)});
        }
    }
    for (const SavedRegister& saved : second.snapshot.registers) {
        if (firstRegisters.find(saved) == nullptr) {
            differences.push_back(presentOnlyIn(second, saved));
            differences.back().second = saved.value;
        }
    }
    std::stable_sort(differences.begin(), differences.end(),
                     [](const RegisterDifference& a, const RegisterDifference& b) { return a.offset < b.offset; });
    return differences;
}

} // namespace Rynvelctl
