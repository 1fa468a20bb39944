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

/** What has happened to the register that has failed. @{ */
constexpr const char* unconfirmed = "written, but not confirmed";
constexpr const char* unknown = "unknown whether written";
/** @} */

/** The progress of a command until one of its registers fails. */
struct Progress {
    /** The word for the names in `done`. */
    const char* doneWord;
    std::vector<std::string> done;
    /** What has happened to the register that has failed, such as `unknown`. */
    const char* outcome;
    std::string failed;
    std::vector<std::string> notReached;
};

/** Returns a failure with the progress at the end of its message. */
Failure withProgress(const Failure& failure, const Progress& progress);

} // namespace Rynvelctl

#endif
