/* SPDX-License-Identifier: MIT */
/**
 * @file
 * Conversion of durations: from and to text, and for system calls.
 */
#ifndef RYNVEL_COMMON_DURATION_H
#define RYNVEL_COMMON_DURATION_H

#include <chrono>
#include <optional>
#include <string>

#include <sys/time.h>

namespace Common {

/**
 * Parses a decimal number with the unit ms, s, m or h, as in "500ms" or "1.5s". The number has no leading zero before
 * another digit. The duration must be a whole number of milliseconds. The number 0 needs no unit. The maximum is one
 * day.
 *
 * @return the duration; empty for any other text.
 */
std::optional<std::chrono::milliseconds> parseDuration(const std::string& text);

/** Returns the error message for a text that parseDuration() refuses. */
std::string notADuration(const std::string& text);

/** Returns the duration as text, in the largest unit that gives a whole number, for example "5 s". */
std::string describe(std::chrono::milliseconds duration);

/** Returns the duration in the form that the options of a socket require. */
timeval toTimeval(std::chrono::milliseconds duration);

} // namespace Common

#endif
