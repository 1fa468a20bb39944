/**
 * @file
 * Ends the waiting of a thread that blocks in a device.
 */
#ifndef RYNVELD_WAKEUP_H
#define RYNVELD_WAKEUP_H

#include <thread>

namespace Rynveld {

/** Prepares the process: its signal interrupts a system call instead of ending the process. */
void installWakeUpHandler();

/**
 * Interrupts the system call that the thread blocks in. It has no effect on one that has not yet begun, so that it is
 * to be repeated until the thread has ended.
 */
void wakeUp(std::thread& thread);

} // namespace Rynveld

#endif
