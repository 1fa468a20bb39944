/* SPDX-License-Identifier: MIT */
/**
 * @file
 * The progress of a command that writes several registers.
 */
#ifndef RYNVELCTL_PROGRESS_H
#define RYNVELCTL_PROGRESS_H

#include <string>
#include <vector>

#include "Failure.h"

namespace Rynvelctl {

/** What has happened to a register before a failure. @{ */
constexpr const char* unconfirmed = "written, but not confirmed";
constexpr const char* unknown = "unknown whether written";
/** @} */

/** How far the command has come when one of its registers fails. */
struct Progress {
    /** The word for the names in `done`. */
    const char* doneWord;
    std::vector<std::string> done;
    /** What has happened to the register that has failed. */
    const char* outcome;
    std::string failed;
    std::vector<std::string> notReached;
};

/** Returns a failure whose message also tells the progress. */
Failure withProgress(const Failure& failure, const Progress& progress);

} // namespace Rynvelctl

#endif
