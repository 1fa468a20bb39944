/**
 * @file
 * Times on a command line.
 */
#ifndef RYNVEL_COMMON_DURATION_H
#define RYNVEL_COMMON_DURATION_H

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

} // namespace Common

#endif
