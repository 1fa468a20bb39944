// SPDX-License-Identifier: MIT
#include "BusErrorGuard.h"

#include <cstdint>

#include <pthread.h>
#include <ucontext.h>

namespace Common {

namespace {

/**
 * Returns whether a faulty access caused the signal, rather than a process that sent it.
 *
 * On 32-bit ARM, an external abort has the signal code of a sent signal, and has the fault address in place of the
 * process ID of the sender. The address of a mapped register is higher than the highest process ID.
 */
bool isFault(const siginfo_t& info) {
    constexpr std::uintptr_t highestProcessId = 4194304;
    const bool looksSent = info.si_code == SI_USER && sizeof(void*) == sizeof(std::uint32_t);
    return info.si_code > 0 || (looksSent && reinterpret_cast<std::uintptr_t>(info.si_addr) > highestProcessId);
}

} // namespace

thread_local sigjmp_buf* volatile BusErrorGuard::s_recoveryPoint = nullptr;
struct sigaction BusErrorGuard::s_previousAction {};

void BusErrorGuard::install() {
    struct sigaction action {};
    action.sa_sigaction = handleSignal;
    action.sa_flags = SA_SIGINFO;
    struct sigaction previous {};
    sigaction(SIGBUS, nullptr, &previous);
    if ((previous.sa_flags & SA_SIGINFO) == 0 || previous.sa_sigaction != handleSignal) {
        s_previousAction = previous;
        sigaction(SIGBUS, &action, nullptr);
    }
}

void BusErrorGuard::unblock() {
    sigset_t signals{};
    sigemptyset(&signals);
    sigaddset(&signals, SIGBUS);
    pthread_sigmask(SIG_UNBLOCK, &signals, nullptr);
}

bool BusErrorGuard::call(void (*access)(const void*), const void* object) {
    sigjmp_buf recoveryPoint;
    sigjmp_buf* const outer = s_recoveryPoint;
    // Saving the signal mask here would cost a system call for each access. The handler restores the mask instead.
    if (sigsetjmp(recoveryPoint, 0) != 0) {
        s_recoveryPoint = outer;
        return false;
    }
    s_recoveryPoint = &recoveryPoint;
    access(object);
    s_recoveryPoint = outer;
    return true;
}

void BusErrorGuard::handleSignal(int /*signal*/, siginfo_t* info, void* context) {
    if (!isFault(*info)) {
        return;
    }
    if (s_recoveryPoint != nullptr) {
        pthread_sigmask(SIG_SETMASK, &static_cast<ucontext_t*>(context)->uc_sigmask, nullptr);
        siglongjmp(*s_recoveryPoint, 1);
    }
    // After this handler returns, the processor repeats the access, and the previous action handles the fault. The
    // previous action may be a handler that in turn restores this handler. Both handlers would then restore each other
    // forever. Therefore, this handler restores the previous action only once, and the default action after that.
    sigaction(SIGBUS, &s_previousAction, nullptr);
    s_previousAction = {};
}

} // namespace Common
