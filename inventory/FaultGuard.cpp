#include "FaultGuard.h"

#include <csignal>

namespace Inventory {

thread_local sigjmp_buf* FaultGuard::s_place = nullptr;

void FaultGuard::install() {
    struct sigaction action {};
    action.sa_handler = handle;
    action.sa_flags = SA_NODEFER;
    sigaction(SIGBUS, &action, nullptr);
}

void FaultGuard::handle(int /*signal*/) {
    if (s_place != nullptr) {
        siglongjmp(*s_place, 1);
    }
    // The access is repeated on return, and ends the process.
    std::signal(SIGBUS, SIG_DFL);
}

} // namespace Inventory
