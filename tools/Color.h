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

/** The choice of the user. */
enum class ColorChoice { Auto, Always, Never };

/** Returns the texts that parseColorChoice() takes. */
std::vector<std::string> colorChoiceNames();

/** Returns the choice that an option gives. @throws Failure if the text is not one of colorChoiceNames(). */
ColorChoice parseColorChoice(const std::string& text);

/**
 * Returns whether standard output gets colors. With Auto, it gets colors if it is a terminal, if TERM is not "dumb",
 * and if NO_COLOR is unset or empty.
 */
bool usesColor(ColorChoice choice);

} // namespace Rynvelctl

#endif
