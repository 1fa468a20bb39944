/* SPDX-License-Identifier: MIT */
/**
 * @file
 * Durations and points in time as text.
 */
#ifndef RYNVELCTL_TIMETEXT_H
#define RYNVELCTL_TIMETEXT_H

#include <chrono>
#include <string>

#include "Duration.h"

namespace Rynvelctl {

/**
 * Returns the duration that the text gives.
 *
 * @param name the name of the option for the error message, for example "timeout".
 * @throws Failure if Common::parseDuration() does not accept the text.
 */
std::chrono::milliseconds parseDuration(const std::string& name, const std::string& text);

/** Like parseDuration(), but also throws Failure for a duration of 0. */
std::chrono::milliseconds parsePositiveDuration(const std::string& name, const std::string& text);

using Common::describe;

/** Returns the current time in UTC with microseconds, for example "2020-01-31T23:59:59.000001Z". */
std::string timeStamp();

/** Returns the given time in the form of timeStamp(). */
std::string timeStamp(std::chrono::system_clock::time_point time);

/** Returns whether a text has the form of timeStamp(). */
bool isTimeStamp(std::string text);

} // namespace Rynvelctl

#endif
