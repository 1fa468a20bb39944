/* SPDX-License-Identifier: MIT */
/**
 * @file
 * Completion for shells, from the description of the command line.
 */
#ifndef RYNVELCTL_COMPLETION_H
#define RYNVELCTL_COMPLETION_H

#include <string>
#include <vector>

#include "ArgumentParser.h"

namespace Rynvelctl {

/**
 * Returns the possible completions of the last word.
 *
 * @param words the arguments up to the cursor; the last word may be empty.
 */
std::vector<std::string> completions(const Common::CommandDescription& program, const std::vector<std::string>& words);

/** Returns a placeholder, such as "host|network", from which completions() derives the possible values. */
std::string oneOf(const std::vector<std::string>& words);

} // namespace Rynvelctl

#endif
