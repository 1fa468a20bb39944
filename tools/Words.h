/* SPDX-License-Identifier: MIT */
/**
 * @file
 * The words of a command.
 */
#ifndef RYNVELCTL_WORDS_H
#define RYNVELCTL_WORDS_H

#include <string>
#include <vector>

namespace Rynvelctl {

/** Returns the words of a line. Blanks separate them, and a word that begins with # begins a comment. */
std::vector<std::string> wordsOf(const std::string& line);

/**
 * Refuses a word that the parser of the command line would misinterpret.
 *
 * @throws Failure for an empty word or value, and for a word that begins with a bracket.
 */
void requireUsable(const std::string& word);

} // namespace Rynvelctl

#endif
