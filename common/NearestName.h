// SPDX-License-Identifier: MIT
/**
 * @file
 * Names that a mistyped one may be meant to be.
 */
#ifndef RYNVEL_COMMON_NEARESTNAME_H
#define RYNVEL_COMMON_NEARESTNAME_H

#include <string>
#include <vector>

namespace Common {

/**
 * The names that differ least from a word, in their order. A letter that is changed, missing, too many or swapped with
 * its neighbour is a mistake. Empty if all names have more than two mistakes, or as many as the word has letters.
 */
std::vector<std::string> nearestNames(const std::string& word, const std::vector<std::string>& names);

/** The question "did you mean 'A', 'B' or 'C'?"; empty without names. */
std::string didYouMean(const std::vector<std::string>& names);

} // namespace Common

#endif
