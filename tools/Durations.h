/**
 * @file
 * Durations and points in time as text.
 */
#ifndef RYNVELCTL_DURATIONS_H
#define RYNVELCTL_DURATIONS_H

#include <chrono>
#include <string>

#include "Duration.h"

namespace Rynvelctl {

/**
 * @param what names the duration in the failure, for instance "timeout".
 * @throws Failure when the text is no duration as Common::parseDuration() takes it.
 */
std::chrono::milliseconds parseDuration(const std::string& what, const std::string& text);

/** @throws Failure for a duration of 0, too. */
std::chrono::milliseconds parsePositiveDuration(const std::string& what, const std::string& text);

using Common::describe;

/** Returns the current time in UTC with microseconds, for example "2020-01-31T23:59:59.000001Z". */
std::string timeStamp();

/** Returns a time in the same form. */
std::string timeStamp(std::chrono::system_clock::time_point time);

} // namespace Rynvelctl

#endif
