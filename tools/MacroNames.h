/* SPDX-License-Identifier: MIT */
/**
 * @file
 * The names of macros in a C header.
 */
#ifndef RYNVELCTL_MACRONAMES_H
#define RYNVELCTL_MACRONAMES_H

#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace Rynvelctl {

/**
 * Returns a C identifier: the letters of the names, in upper case, and their digits. One underscore separates two
 * names, and replaces each run of characters that are neither ASCII letters nor digits, but not at the beginning or the
 * end. An identifier that would be empty or begin with a digit begins with `DEVICE_`.
 */
std::string macroName(const std::vector<std::string>& names);

/** Unique names for the macros of a header, or for the common beginnings of their names. */
class MacroNames {
public:
    /**
     * Reserves a name for a later call of add() with this name: add() does not form the reserved name by appending a
     * number to another name.
     */
    void reserve(const std::string& name) { m_reserved.insert(name); }

    /**
     * Returns the name for a macro: the wanted name, or the wanted name with a number if another macro has that name.
     * Returns an empty text if the header already has a macro with the same wanted name and definition.
     *
     * @param definition the text of the macro after its name.
     */
    std::string add(const std::string& wanted, const std::string& definition);

private:
    std::set<std::string> m_taken;
    std::set<std::string> m_reserved;
    /** The wanted names with the definitions. */
    std::set<std::pair<std::string, std::string>> m_given;
    /** The number that add() appended last to each wanted name. */
    std::map<std::string, unsigned int> m_lastNumbers;
};

} // namespace Rynvelctl

#endif
