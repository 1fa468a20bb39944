#include "FaultGuard.h"

#include <pthread.h>
#include <ucontext.h>

#include <cstdint>

namespace Common {

namespace {

/**
 * Whether the signal reports an access, and was not sent by a process. 32-bit ARM reports an external abort with the
 * code of a signal that was sent, and with the address in the sender's place: no sender's number is as high.
 */
bool isFault(const siginfo_t& info) {
    constexpr std::uintptr_t highestProcess = 4194304;
    const bool looksSent = info.si_code == SI_USER && sizeof(void*) == sizeof(std::uint32_t);
    return info.si_code > 0 || (looksSent && reinterpret_cast<std::uintptr_t>(info.si_addr) > highestProcess);
}

} // namespace

thread_local sigjmp_buf* volatile FaultGuard::s_place = nullptr;

void FaultGuard::install() {
    struct sigaction action {};
    action.sa_sigaction = handle;
    action.sa_flags = SA_SIGINFO;
    sigaction(SIGBUS, &action, nullptr);
}

bool FaultGuard::call(void (*access)(const void*), const void* object) {
    sigjmp_buf place;
    sigjmp_buf* const outer = s_place;
    // The mask is not saved, which would cost every access a system call: the handler restores it.
    if (sigsetjmp(place, 0) != 0) {
        s_place = outer;
        return false;
    }
    s_place = &place;
    access(object);
    s_place = outer;
    return true;
}

void FaultGuard::handle(int /*signal*/, siginfo_t* info, void* context) {
    if (!isFault(*info)) {
        return;
    }
    if (s_place != nullptr) {
        pthread_sigmask(SIG_SETMASK, &static_cast<ucontext_t*>(context)->uc_sigmask, nullptr);
        siglongjmp(*s_place, 1);
    }
    // The access is repeated on return, and ends the process.
    std::signal(SIGBUS, SIG_DFL);
}

} // namespace Common
