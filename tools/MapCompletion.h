/* SPDX-License-Identifier: MIT */
/**
 * @file
 * Completion of the names in a register map.
 */
#ifndef RYNVELCTL_MAPCOMPLETION_H
#define RYNVELCTL_MAPCOMPLETION_H

#include <string>
#include <vector>

#include "Model.h"

namespace Rynvelctl {

/** What a command does with registers. It decides which of them are offered. */
enum class RegisterUse { Read, Write, Any };

/** Completes names from the description of one device. The description must outlive the object. */
class MapCompletion {
public:
    MapCompletion(const Maps::Peripheral& peripheral, RegisterUse use) : m_peripheral(peripheral), m_use(use) {}

    /** Returns the registers. */
    std::vector<std::string> registers() const;

    /** Returns the fields of the register whose name and a dot begin the word. */
    std::vector<std::string> fields(const std::string& word) const;

    /**
     * Returns the values that can be written to a register or a field. The values of a register are its fields with an
     * equals sign, which the values of the field follow.
     */
    std::vector<std::string> values(const std::string& name, const std::string& word) const;

    /** Returns the names of the values that can be read from a field. */
    std::vector<std::string> readValues(const std::string& name) const;

    /**
     * Returns the registers and fields, each with an equals sign. After the equals sign of a field, returns the field
     * with each of its values that can be written.
     */
    std::vector<std::string> assignments(const std::string& word) const;

    /** Returns the fields of a register, each after the list of names with commas that the word begins with. */
    std::vector<std::string> fieldLists(const std::string& name, const std::string& word) const;

private:
    template <typename Accessed>
    bool isUsable(const Accessed& accessed) const;

    const Maps::Peripheral& m_peripheral;
    RegisterUse m_use;
};

} // namespace Rynvelctl

#endif
