/* SPDX-License-Identifier: MIT */
/**
 * @file
 * The names of macros in a C header.
 */
#ifndef RYNVELCTL_MACRONAMES_H
#define RYNVELCTL_MACRONAMES_H

#include <map>
#include <string>
#include <vector>

namespace Rynvelctl {

/**
 * Returns a C identifier in upper case: the names, separated by underscores. A run of other characters becomes one
 * underscore. An identifier that would be empty or begin with a digit begins with `DEVICE_`.
 */
std::string macroName(const std::vector<std::string>& names);

/** The macros of a header. */
class MacroNames {
public:
    /**
     * Returns the name for a macro: the one that is wanted, or the same with a number if another macro has
     * that name. Returns an empty text if the header has the same macro already.
     *
     * @param definition what follows the name.
     */
    std::string add(const std::string& wanted, const std::string& definition);

private:
    std::map<std::string, std::string> m_definitions;
};

} // namespace Rynvelctl

#endif
