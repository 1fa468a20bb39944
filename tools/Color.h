/* SPDX-License-Identifier: MIT */
/**
 * @file
 * Decides whether the program uses colors.
 */
#ifndef RYNVELCTL_COLOR_H
#define RYNVELCTL_COLOR_H

#include <string>
#include <vector>

namespace Rynvelctl {

/** The values of --color. */
enum class ColorChoice { Auto, Always, Never };

/** Returns the texts that parseColorChoice() accepts. */
std::vector<std::string> colorChoiceNames();

/** Returns the choice that an option gives. @throws Failure if the text is not one of colorChoiceNames(). */
ColorChoice parseColorChoice(const std::string& text);

/**
 * Returns whether standard output gets colors. With Auto, standard output gets colors only if Terminal::isAvailable()
 * returns true and NO_COLOR is unset or empty.
 */
bool usesColor(ColorChoice choice);

} // namespace Rynvelctl

#endif
