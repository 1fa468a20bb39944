/* SPDX-License-Identifier: MIT */
/**
 * @file
 * The progress of a command that writes several registers.
 */
#ifndef RYNVELCTL_PROGRESS_H
#define RYNVELCTL_PROGRESS_H

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

/** The progress of a command until one of its registers fails. The texts must outlive this object. */
struct Progress {
    /** The word for the names in `done`. */
    std::string_view doneWord;
    /** Names with commas between them, or `noNames`. */
    std::string_view done;
    /** What has happened to the register that has failed, such as `unknown`. */
    std::string_view outcome;
    std::string_view failed;
    /** As `done`. */
    std::string_view notReached;
};

/** Returns the names with commas between them, or `noNames` if there are none. */
std::string namesOrNone(const std::vector<std::string>& names);

constexpr std::size_t mostPieces = 11;

/** The pieces of a text, for a signal handler, which cannot allocate memory for the text. */
using Pieces = std::array<std::string_view, mostPieces>;

/** Returns the progress as the end of a message. */
Pieces piecesOf(const Progress& progress);

/** Returns a failure with a text at the end of its message. */
Failure extended(const Failure& failure, const Pieces& pieces);

} // namespace Rynvelctl

#endif
