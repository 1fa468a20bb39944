/* SPDX-License-Identifier: MIT */
/**
 * @file
 * What has happened to the registers of a command that has failed, for the end of its error message.
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

/** In place of an empty list of names. */
constexpr const char* noNames = "none";

/** What has happened to the register that has failed. @{ */
constexpr const char* unconfirmed = "written, but not confirmed";
constexpr const char* unknown = "unknown whether written";
/** @} */

/** The registers of a command until one of them fails, and after it. The texts must outlive this object. */
struct WriteOutcome {
    /** The word for the names in `done`. */
    std::string_view doneWord;
    /** Names with commas between them, or `noNames`. */
    std::string_view done;
    /** What has happened to the register that has failed, such as `unknown`. */
    std::string_view failedWord;
    std::string_view failed;
    /** As `done`. */
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
