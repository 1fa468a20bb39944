/* SPDX-License-Identifier: MIT */
/**
 * @file
 * Recovers from bus errors of memory-mapped registers.
 */
#ifndef RYNVEL_COMMON_FAULTGUARD_H
#define RYNVEL_COMMON_FAULTGUARD_H

#include <csetjmp>
#include <csignal>

namespace Common {

/**
 * Runs accesses to mapped registers that may cause a bus error (SIGBUS).
 *
 * Any number of threads may run guarded accesses at once. A fault outside run() ends the process, as without this
 * class. A SIGBUS that a process has sent is ignored.
 *
 * A fault leaves the access by siglongjmp(). This is sound for these reasons:
 *
 * - The load or store itself raises the signal. A processor that reports stores late raises it in the few instructions
 *   of the library that follow. The jump therefore never interrupts a function of the C library.
 * - On Linux, siglongjmp() restores the callee-saved registers and jumps. It does not unwind the stack: no destructor
 *   runs. A test of this class verifies that on every processor.
 * - In C++, a jump over an object with a non-trivial destructor is undefined behaviour, and the library holds the mutex
 *   of its device by such an object. Skipping the destructor is harmless, because it would do nothing: the caller of
 *   run() unlocks AccessMutex.
 * - The frame that calls sigsetjmp() has no variable that changes afterwards. It is never merged with the frame of a
 *   caller, because the function is not inlined.
 */
class FaultGuard {
public:
    /** Installs the SIGBUS handler of the process. */
    static void install();

    /** Runs `access`. Returns false if a fault has ended it; then the destructors of its local objects did not run. */
    template <typename Function>
    static bool run(const Function& access) {
        return call([](const void* object) { (*static_cast<const Function*>(object))(); }, &access);
    }

    /** Whether the calling thread runs a guarded access. */
    static bool isRunning() { return s_recoveryPoint != nullptr; }

private:
    [[gnu::noinline]] static bool call(void (*access)(const void*), const void* object);
    static void handleSignal(int signal, siginfo_t* info, void* context);

    /** Volatile, so that the compiler does not move it across the accesses, which are volatile, too. */
    static thread_local sigjmp_buf* volatile s_recoveryPoint;
};

} // namespace Common

#endif
