/* SPDX-License-Identifier: MIT */
/**
 * @file
 * Texts without control characters. A text may come from a file, which must not control the terminal.
 */
#ifndef RYNVELCTL_PRINTABLE_H
#define RYNVELCTL_PRINTABLE_H

#include <string>

namespace Rynvelctl {

/** Returns the text with a question mark in place of each control character. */
std::string printable(std::string text);

/** Does the same, but keeps the line ends. */
std::string printableLines(std::string text);

} // namespace Rynvelctl

#endif
