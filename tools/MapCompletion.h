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

/** The use of registers in a command, which determines the registers that the completion offers. */
enum class RegisterUse { Read, Write, Any };

/** Completes names from the description of one device. The description must outlive the object. */
class MapCompletion {
public:
    MapCompletion(const Maps::Peripheral& peripheral, RegisterUse use) : m_peripheral(peripheral), m_use(use) {}

    /** Returns the names of the registers that the command can use. */
    std::vector<std::string> registers() const;

    /**
     * Returns the names of the fields that the command can use.
     *
     * @param word begins with the name of the register and a dot.
     */
    std::vector<std::string> fields(const std::string& word) const;

    /**
     * Returns the values that can be written to a register or a field. For a register, each value has the form
     * `FIELD=`. After the word `FIELD=`, the values of this field have the form `FIELD=VALUE`.
     */
    std::vector<std::string> values(const std::string& name, const std::string& word) const;

    /** Returns the names of the values that can be read from a field. @param name the name of the field. */
    std::vector<std::string> readValues(const std::string& name) const;

    /**
     * Returns the registers and fields that can be written, each in the form `NAME=`. For a word that begins with
     * `REGISTER.FIELD=`, returns the values of this field in the form `REGISTER.FIELD=VALUE`.
     */
    std::vector<std::string> assignments(const std::string& word) const;

    /**
     * Completes a comma-separated list of the fields of a register. Each result begins with the complete names in the
     * word.
     */
    std::vector<std::string> fieldLists(const std::string& name, const std::string& word) const;

private:
    template <typename Accessed>
    bool isUsable(const Accessed& accessed) const;

    const Maps::Peripheral& m_peripheral;
    RegisterUse m_use;
};

} // namespace Rynvelctl

#endif
