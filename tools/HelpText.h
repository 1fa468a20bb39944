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

/** Returns the sections that follow the options and commands, wrapped for a terminal. */
std::string helpFooter();

} // namespace Rynvelctl

#endif
