// SPDX-License-Identifier: MIT
#include "OptionsFile.h"

#include <sstream>
#include <stdexcept>
#include <system_error>

#include <sys/stat.h>

#include "InputFile.h"

namespace Rynveld {

namespace {

constexpr std::size_t largestFile = std::size_t{64} * 1024;
constexpr const char* whiteSpace = " \t\r";

std::string contentsOf(const std::string& path) {
    struct stat status {};
    // Opening a named pipe would block the server until a writer opens the pipe.
    if (::stat(path.c_str(), &status) == 0 && S_ISFIFO(status.st_mode)) {
        throw std::invalid_argument(path + ": the file is a pipe (give a regular file)");
    }
    std::string contents;
    try {
        contents = Common::readFile(path, largestFile);
    } catch (const std::system_error& error) {
        throw std::invalid_argument(path + ": cannot read the options: " + error.code().message());
    }
    if (contents.size() > largestFile) {
        throw std::invalid_argument(path + ": the file is too large (at most 64 KiB)");
    }
    return contents;
}

std::string withoutComment(const std::string& line) {
    std::size_t comment = line.find('#');
    while (comment != std::string::npos && comment > 0 && line.find_first_of(whiteSpace, comment - 1) != comment - 1) {
        comment = line.find('#', comment + 1);
    }
    return line.substr(0, comment);
}

std::string trimmed(const std::string& text) {
    const std::size_t begin = text.find_first_not_of(whiteSpace);
    return begin == std::string::npos ? "" : text.substr(begin, text.find_last_not_of(whiteSpace) + 1 - begin);
}

/** Returns an option of a trimmed line as a word of a command line. */
std::string wordOf(const std::string& line) {
    const std::string text = line.compare(0, 2, "--") == 0 ? line.substr(2) : line;
    const std::size_t end = text.find_first_of(" \t=");
    const std::string name = text.substr(0, end);
    if (name.empty() || name[0] == '-') {
        throw std::invalid_argument("'" + line + "' is not an option (write NAME VALUE, for example device rtc0)");
    }
    if (name == "config" || name == "help" || name == "version") {
        throw std::invalid_argument("--" + name + ": the option is only for the command line");
    }
    const std::string value = end == std::string::npos ? "" : trimmed(text.substr(end + 1));
    return "--" + name + (value.empty() && (end == std::string::npos || text[end] != '=') ? "" : '=' + value);
}

} // namespace

OptionsLines readOptionsFile(const std::string& path) {
    std::istringstream contents(contentsOf(path));
    OptionsLines lines;
    std::size_t number = 0;
    for (std::string line; std::getline(contents, line);) {
        ++number;
        const std::string text = trimmed(withoutComment(line));
        if (text.empty()) {
            continue;
        }
        try {
            lines.push_back({number, wordOf(text)});
        } catch (const std::invalid_argument& problem) {
            throw std::invalid_argument(path + ':' + std::to_string(number) + ": " + problem.what());
        }
    }
    return lines;
}

} // namespace Rynveld
