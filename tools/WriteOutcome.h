/* SPDX-License-Identifier: MIT */
/**
 * @file
 * Describes, for the end of an error message, what a failed command has done to its registers.
 */
#ifndef RYNVELCTL_WRITEOUTCOME_H
#define RYNVELCTL_WRITEOUTCOME_H

#include <array>
#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "Failure.h"

namespace Rynvelctl {

/** The text in place of an empty list of names. */
constexpr const char* noNames = "none";

/** The possible outcomes for the register that has failed. @{ */
constexpr const char* unconfirmed = "written, but not confirmed";
constexpr const char* unknown = "unknown whether written";
/** @} */

/** The registers of a command before and after the register that has failed. The texts must outlive this object. */
struct WriteOutcome {
    /** The word for the names in `done`. */
    std::string_view doneWord;
    /** Names with commas between them, or `noNames`. */
    std::string_view done;
    /** The outcome for the register that has failed, such as `unknown`. */
    std::string_view failedWord;
    std::string_view failed;
    /** The remaining registers, in the same form as `done`. */
    std::string_view notReached;
};

/** Returns the names with commas between them, or `noNames` if there are none. */
std::string namesOrNone(const std::vector<std::string>& names);

constexpr std::size_t mostPieces = 11;

/** The pieces of a text, for a signal handler, which cannot allocate memory for the text. */
using Pieces = std::array<std::string_view, mostPieces>;

/** Returns the outcome as the end of a message. */
Pieces piecesOf(const WriteOutcome& outcome);

/** Returns a failure with a text at the end of its message. */
Failure extended(const Failure& failure, const Pieces& pieces);

} // namespace Rynvelctl

#endif
