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

std::string joinLines(const std::vector<std::string>& lines) {
    std::string text;
    for (const std::string& line : lines) {
        text += (text.empty() ? "" : "\n") + line;
    }
    return text;
}

} // namespace Rynvelctl
