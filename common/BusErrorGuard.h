/* SPDX-License-Identifier: MIT */
/**
 * @file
 * Recovers from bus errors of memory-mapped registers.
 */
#ifndef RYNVEL_COMMON_BUSERRORGUARD_H
#define RYNVEL_COMMON_BUSERRORGUARD_H

#include <csetjmp>
#include <csignal>

namespace Common {

/**
 * Runs accesses to mapped registers that may cause a bus error (SIGBUS).
 *
 * Any number of threads may run guarded accesses at the same time. A fault outside run() has the same effect as without
 * this class: by default, the fault ends the process. The handler ignores a SIGBUS that a process has sent. Code that
 * sets another handler after install(), or that blocks SIGBUS in the thread of the access, makes the guard ineffective.
 *
 * After a fault, the handler leaves the access by siglongjmp(). This is safe for the following reasons:
 *
 * - The load or store itself raises the signal. On a processor that reports stores late, one of the next few
 *   instructions raises the signal. The library also contains these instructions. The jump therefore never interrupts a
 *   function of the C library.
 * - On Linux, siglongjmp() restores the callee-saved registers and jumps. It does not unwind the stack, and runs no
 *   destructor. A test of this class verifies on every processor that no destructor runs.
 * - In C++, a jump over an object with a non-trivial destructor is undefined behavior. The library uses an object with
 *   such a destructor to hold the mutex of a device. The destructor has nothing to do in a guarded access, because the
 *   caller of run() unlocks the AccessMutex.
 * - The function that calls sigsetjmp() has no variable that changes afterwards. The compiler does not merge the stack
 *   frame of the function with the frame of a caller, because the function is not inlined.
 */
class BusErrorGuard {
public:
    /**
     * Installs the SIGBUS handler of the process. A fault outside run() keeps its previous effect. You may call the
     * function again, for example because other code may have replaced the handler. Do not call the function in several
     * threads at the same time.
     */
    static void install();

    /** Unblocks SIGBUS in the calling thread. A fault in a thread that blocks the signal ends the process. */
    static void unblock();

    /**
     * Runs `access`. Returns false if a fault has ended `access`. In that case, the destructors of the local objects of
     * `access` have not run.
     */
    template <typename Function>
    static bool run(const Function& access) {
        return call([](const void* object) { (*static_cast<const Function*>(object))(); }, &access);
    }

    /** Returns whether the calling thread runs a guarded access. */
    static bool isRunning() { return s_recoveryPoint != nullptr; }

private:
    [[gnu::noinline]] static bool call(void (*access)(const void*), const void* object);
    static void handleSignal(int signal, siginfo_t* info, void* context);

    /** The action of the process before install(). */
    static struct sigaction s_previousAction;

    /**
     * The pointer is volatile, because accesses to registers are volatile, and the compiler keeps the order of volatile
     * accesses.
     */
    static thread_local sigjmp_buf* volatile s_recoveryPoint;
};

} // namespace Common

#endif
