// SPDX-License-Identifier: MIT
/**
 * @file
 * Finds the names that a user may have meant by a mistyped name.
 */
#ifndef RYNVEL_COMMON_NEARESTNAME_H
#define RYNVEL_COMMON_NEARESTNAME_H

#include <string>
#include <vector>

namespace Common {

/**
 * Returns the names that differ least from a word, in the order of `names`. A character that is changed, missing, extra
 * or swapped with its neighbor is one mistake. Leaves out a name with more than two mistakes, or with at least as many
 * mistakes as the word has characters.
 */
std::vector<std::string> nearestNames(const std::string& word, const std::vector<std::string>& names);

/** Returns the names as a choice, such as "A, B or C". */
std::string alternatives(const std::vector<std::string>& names);

/** Returns the question "did you mean 'A', 'B' or 'C'?"; empty without names. */
std::string didYouMean(const std::vector<std::string>& names);

} // namespace Common

#endif
