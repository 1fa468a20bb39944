/* SPDX-License-Identifier: MIT */
/**
 * @file
 * The mode of standard error.
 */
#ifndef RYNVELD_STANDARDERROR_H
#define RYNVELD_STANDARDERROR_H

namespace Rynveld {

/**
 * Makes a write to standard error lose data instead of blocking. Otherwise, a terminal or pipe that takes no more data
 * would block the thread that traces. Clients, and a process that is ending, would then wait for that thread. The
 * change affects only this process if the terminal or pipe can be opened again.
 */
void makeStandardErrorNonBlocking();

} // namespace Rynveld

#endif
