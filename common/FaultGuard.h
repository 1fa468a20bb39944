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
 * Any number of threads may run guarded accesses at once. What an access had locked when it faulted stays locked: its
 * caller knows. Faults outside of run() end the process as before. A SIGBUS that a process has sent is ignored.
 */
class FaultGuard {
public:
    /** Handles SIGBUS for the whole process from now on. */
    static void install();

    /** Runs `access`, which must hold nothing but trivial objects; false when it ended by a fault. */
    template <typename Function>
    static bool run(const Function& access) {
        sigjmp_buf place;
        sigjmp_buf* const outer = s_place;
        // The mask is not saved, which would cost every access a system call: the handler restores it.
        if (sigsetjmp(place, 0) != 0) {
            s_place = outer;
            return false;
        }
        s_place = &place;
        access();
        s_place = outer;
        return true;
    }

private:
    static void handle(int signal, siginfo_t* info, void* context);

    static thread_local sigjmp_buf* s_place;
};

} // namespace Common

#endif
