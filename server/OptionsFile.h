/* SPDX-License-Identifier: MIT */
/**
 * @file
 * A file with options, one on each line.
 */
#ifndef RYNVELD_OPTIONSFILE_H
#define RYNVELD_OPTIONSFILE_H

#include <cstddef>
#include <string>
#include <vector>

namespace Rynveld {

/** An option as a word of a command line, such as "--device=rtc0" or "--simulate". */
struct OptionsLine {
    std::size_t number;
    std::string word;
};

using OptionsLines = std::vector<OptionsLine>;

/**
 * Returns the options of a file. A line has the form "NAME VALUE", "--NAME=VALUE" or "NAME". "#" at the beginning of a
 * line or after white space begins a comment. Empty lines are ignored.
 *
 * @throws std::invalid_argument if the file cannot be read, or if a line is not an option that a file may contain.
 * what() begins with the path, and with the number of the line if there is one.
 */
OptionsLines readOptionsFile(const std::string& path);

} // namespace Rynveld

#endif
