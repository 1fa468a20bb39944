#include "Failure.h"

#include <algorithm>
#include <cctype>

namespace Rynvelctl {

std::string diagnostic(const std::string& text) {
    std::string line = "rynvelctl: " + text;
    std::replace_if(
        line.begin(), line.end(), [](unsigned char character) { return std::iscntrl(character) != 0; }, '?');
    return line + '\n';
}

} // namespace Rynvelctl
