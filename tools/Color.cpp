// SPDX-License-Identifier: MIT
#include "Color.h"

#include <algorithm>
#include <array>
#include <cstdlib>

#include "Failure.h"
#include "Terminal.h"

namespace Rynvelctl {

namespace {

struct NamedChoice {
    const char* name;
    ColorChoice choice;
};

constexpr std::array<NamedChoice, 3> colorChoices{
    {{"auto", ColorChoice::Auto}, {"always", ColorChoice::Always}, {"never", ColorChoice::Never}}};

bool forbidsColor() {
    const char* const forbidden = std::getenv("NO_COLOR");
    return forbidden != nullptr && *forbidden != '\0';
}

} // namespace

std::vector<std::string> colorChoiceNames() {
    std::vector<std::string> names;
    names.reserve(colorChoices.size());
    for (const NamedChoice& named : colorChoices) {
        names.emplace_back(named.name);
    }
    return names;
}

ColorChoice parseColorChoice(const std::string& text) {
    const auto* const found = std::find_if(colorChoices.begin(), colorChoices.end(),
                                           [&text](const NamedChoice& named) { return named.name == text; });
    if (found == colorChoices.end()) {
        throw usageError("--color: '" + text + "' is not a choice of colors (auto, always or never)");
    }
    return found->choice;
}

bool usesColor(ColorChoice choice) {
    return choice == ColorChoice::Always || (choice == ColorChoice::Auto && !forbidsColor() && Terminal::isAvailable());
}

} // namespace Rynvelctl
