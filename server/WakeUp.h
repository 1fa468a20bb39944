/* SPDX-License-Identifier: MIT */
/**
 * @file
 * Interrupts a thread that blocks in a device.
 */
#ifndef RYNVELD_WAKEUP_H
#define RYNVELD_WAKEUP_H

#include <thread>

namespace Rynveld {

/** Installs a handler for the signal of wakeUp(), which otherwise ends the process. */
void installWakeUpHandler();

/**
 * Interrupts the system call in which the thread blocks. The function has no effect on a system call that has not
 * begun. Call the function repeatedly until the thread has ended.
 */
void wakeUp(std::thread& thread);

} // namespace Rynveld

#endif
