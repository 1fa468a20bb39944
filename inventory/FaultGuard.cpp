#include "FaultGuard.h"

#include <pthread.h>
#include <ucontext.h>

namespace Inventory {

thread_local sigjmp_buf* FaultGuard::s_place = nullptr;

void FaultGuard::install() {
    struct sigaction action {};
    action.sa_sigaction = handle;
    action.sa_flags = SA_SIGINFO;
    sigaction(SIGBUS, &action, nullptr);
}

void FaultGuard::handle(int /*signal*/, siginfo_t* /*info*/, void* context) {
    if (s_place != nullptr) {
        pthread_sigmask(SIG_SETMASK, &static_cast<ucontext_t*>(context)->uc_sigmask, nullptr);
        siglongjmp(*s_place, 1);
    }
    // The access is repeated on return, and ends the process.
    std::signal(SIGBUS, SIG_DFL);
}

} // namespace Inventory
