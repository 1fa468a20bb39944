// SPDX-License-Identifier: MIT
#include "WriteLine.h"

#include <cerrno>
#include <csignal>
#include <ctime>

#include <unistd.h>

namespace ziltrace {

namespace {

// A scope in which the thread blocks SIGPIPE. A signal that was already pending stays pending.
class SigpipeBlock {
public:
    SigpipeBlock() {
        sigemptyset(&m_sigpipe);
        sigaddset(&m_sigpipe, SIGPIPE);
        pthread_sigmask(SIG_BLOCK, &m_sigpipe, &m_previousMask);
        m_wasPending = sigismember(&m_previousMask, SIGPIPE) == 1 && isPending();
    }

    ~SigpipeBlock() { pthread_sigmask(SIG_SETMASK, &m_previousMask, nullptr); }

    SigpipeBlock(const SigpipeBlock&) = delete;
    SigpipeBlock& operator=(const SigpipeBlock&) = delete;

    void discardPending() const {
        const timespec noWait{};
        if (!m_wasPending) {
            sigtimedwait(&m_sigpipe, nullptr, &noWait);
        }
    }

private:
    static bool isPending() {
        sigset_t pending;
        sigpending(&pending);
        return sigismember(&pending, SIGPIPE) == 1;
    }

    sigset_t m_sigpipe;
    sigset_t m_previousMask;
    bool m_wasPending;
};

} // namespace

void writeLine(int descriptor, const std::string& line) {
    const SigpipeBlock block;
    if (write(descriptor, line.data(), line.size()) == -1 && errno == EPIPE) {
        block.discardPending();
    }
}

} // namespace ziltrace
