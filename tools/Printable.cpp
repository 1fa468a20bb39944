// SPDX-License-Identifier: MIT
#include "Printable.h"

#include <algorithm>

#include "DeviceName.h"

namespace Rynvelctl {

std::string printable(std::string text) {
    std::replace_if(text.begin(), text.end(), Common::isControlCharacter, '?');
    return text;
}

std::string printableLines(std::string text) {
    std::replace_if(
        text.begin(), text.end(),
        [](char character) { return character != '\n' && Common::isControlCharacter(character); }, '?');
    return text;
}

} // namespace Rynvelctl
