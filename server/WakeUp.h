/* SPDX-License-Identifier: MIT */
/**
 * @file
 * Interrupts a thread that blocks in a device.
 */
#ifndef RYNVELD_WAKEUP_H
#define RYNVELD_WAKEUP_H

#include <thread>

namespace Rynveld {

/** Installs the handler of the signal, so that the signal interrupts system calls instead of ending the process. */
void installWakeUpHandler();

/**
 * Interrupts the system call in which the thread blocks. This has no effect on a system call that has not begun, so
 * call the function repeatedly until the thread has ended.
 */
void wakeUp(std::thread& thread);

} // namespace Rynveld

#endif
