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
 * Returns a C identifier in upper case: the names, separated by underscores. A run of other characters becomes one
 * underscore. An identifier that would be empty or begin with a digit begins with `DEVICE_`.
 */
std::string macroName(const std::vector<std::string>& names);

/** Unique names for the macros of a header, or for what they begin with. */
class MacroNames {
public:
    /** Keeps a name for a call of add() that wants this name: the names with a number avoid it. */
    void reserve(const std::string& name) { m_reserved.insert(name); }

    /**
     * Returns the name for a macro: the one that is wanted, or the same with a number if another macro has
     * that name. Returns an empty text if the header has the same macro already.
     *
     * @param definition what follows the name.
     */
    std::string add(const std::string& wanted, const std::string& definition);

private:
    std::set<std::string> m_taken;
    std::set<std::string> m_reserved;
    /** The wanted names with what follows them. */
    std::set<std::pair<std::string, std::string>> m_given;
    /** The last number of each wanted name. */
    std::map<std::string, unsigned int> m_lastNumbers;
};

} // namespace Rynvelctl

#endif
