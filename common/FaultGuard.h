/**
 * @file
 * Survives the bus errors of memory-mapped registers.
 */
#ifndef RYNVEL_COMMON_FAULTGUARD_H
#define RYNVEL_COMMON_FAULTGUARD_H

#include <csetjmp>
#include <csignal>

namespace Common {

/**
 * Runs accesses to mapped registers that the hardware may answer with a bus error.
 *
 * Any number of threads may run guarded accesses at once. Faults outside of run() end the process as before. A SIGBUS
 * that a process has sent is ignored.
 *
 * A fault leaves its access by siglongjmp(). What makes that sound:
 *
 * - The signal comes from the load or store itself, or where a processor reports a store late, from what little the
 *   library does behind it: the jump interrupts no function of the C library.
 * - On Linux, siglongjmp() restores the registers that a call preserves, and jumps. It unwinds nothing: no destructor
 *   in between runs, which a test of this class holds on every processor.
 * - C++ leaves a jump past an object with a non-trivial destructor undefined, and the library holds the mutex of its
 *   device by one. That the destructor does not run is harmless, for it does nothing here: AccessMutex is unlocked by
 *   the frame that calls run().
 * - The frame to which it returns has no variable that changes after sigsetjmp(). It is not the frame of any caller,
 *   whatever the optimizer does with run().
 */
class FaultGuard {
public:
    /** Handles SIGBUS for the whole process from now on. */
    static void install();

    /** Runs `access`; false when it ended by a fault. What it still had to destroy then is not destroyed. */
    template <typename Function>
    static bool run(const Function& access) {
        return call([](const void* object) { (*static_cast<const Function*>(object))(); }, &access);
    }

    /** Whether the calling thread is in a guarded access. */
    static bool isRunning() { return s_recoveryPoint != nullptr; }

private:
    [[gnu::noinline]] static bool call(void (*access)(const void*), const void* object);
    static void handleSignal(int signal, siginfo_t* info, void* context);

    /** Volatile, as the registers are: it is set before the first of them is accessed, and reset after the last. */
    static thread_local sigjmp_buf* volatile s_recoveryPoint;
};

} // namespace Common

#endif
