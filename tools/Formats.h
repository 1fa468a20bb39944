/**
 * @file
 * The formats of standard output. Each puts every report into words, without the last line end.
 */
#ifndef RYNVELCTL_FORMATS_H
#define RYNVELCTL_FORMATS_H

#include <chrono>
#include <string>
#include <vector>

#include "Report.h"

namespace Rynvelctl {

/** For a terminal. */
std::string formatText(const Report& report);

/** For scripts: the values alone, and no text at all for what is only done. */
std::string formatBare(const Report& report);

/** One JSON value, on one line. */
std::string formatJson(const Report& report);

/** With three decimals and without the unit. */
std::string inMilliseconds(std::chrono::nanoseconds time);

/** A number, or in its place the word "none". */
template <typename Number>
std::string orNone(const std::optional<Number>& number) {
    return number ? std::to_string(*number) : "none";
}

/** Lines joined by line ends, without a last one. */
std::string joinLines(const std::vector<std::string>& lines);

} // namespace Rynvelctl

#endif
