/* SPDX-License-Identifier: MIT */
/**
 * @file
 * The mode of standard error, and messages on it.
 */
#ifndef RYNVELD_STANDARDERROR_H
#define RYNVELD_STANDARDERROR_H

#include <string>

namespace Rynveld {

/**
 * Makes a write to standard error lose data instead of blocking. Otherwise, a terminal or pipe that takes no more data
 * would block the thread that traces. Clients, and a process that is ending, would then wait for that thread. The
 * change affects only this process if the terminal or pipe can be opened again.
 */
void makeStandardErrorNonBlocking();

/** Writes a line with the name of the program to standard error. Lines of several threads do not mix. */
void writeMessage(const std::string& text);

} // namespace Rynveld

#endif
