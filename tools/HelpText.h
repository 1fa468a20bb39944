/* SPDX-License-Identifier: MIT */
/**
 * @file
 * The text of the help, apart from the options and commands.
 */
#ifndef RYNVELCTL_HELPTEXT_H
#define RYNVELCTL_HELPTEXT_H

#include <string>

namespace Rynvelctl {

extern const char* const programSummary;

/**
 * Returns the text after the options and commands in the help of a command, wrapped at 78 columns.
 *
 * @param command its name, such as "maps list"; empty for the program itself.
 */
std::string helpFooter(const std::string& command);

/** Returns the examples in the help of a command, one per line and without indentation. */
std::string examplesOf(const std::string& command);

} // namespace Rynvelctl

#endif
