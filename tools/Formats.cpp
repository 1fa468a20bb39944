// SPDX-License-Identifier: MIT
#include "Formats.h"

#include <iomanip>
#include <sstream>

namespace Rynvelctl {

std::string inMilliseconds(std::chrono::nanoseconds time) {
    std::ostringstream text;
    text << std::fixed << std::setprecision(3) << std::chrono::duration<double, std::milli>(time).count();
    return text.str();
}

namespace {

std::string join(const std::vector<std::string>& parts, const char* separator) {
    std::string text;
    for (const std::string& part : parts) {
        text += (text.empty() ? "" : separator) + part;
    }
    return text;
}

} // namespace

std::string joinNames(const std::vector<std::string>& names) { return join(names, ", "); }

std::string joinLines(const std::vector<std::string>& lines) { return join(lines, "\n"); }

} // namespace Rynvelctl
