/**
 * @file
 * Times as users write and read them, and as the system takes them.
 */
#ifndef RYNVEL_COMMON_DURATION_H
#define RYNVEL_COMMON_DURATION_H

#include <sys/time.h>

#include <chrono>
#include <optional>
#include <string>

namespace Common {

/**
 * A whole decimal number with the unit ms, s or m, as in "500ms"; "0" needs none. At most a day.
 *
 * @return none for any other text.
 */
std::optional<std::chrono::milliseconds> parseDuration(const std::string& text);

/** In the largest unit that it is a whole number of, for instance "5 s". */
std::string describe(std::chrono::milliseconds duration);

/** As socket options take a time. */
timeval toTimeval(std::chrono::milliseconds duration);

} // namespace Common

#endif
