#include "WriteLine.h"

#include <cerrno>
#include <csignal>
#include <ctime>

#include <unistd.h>

namespace ziltrace {

namespace {

class SigpipeHold {
public:
    SigpipeHold() {
        sigemptyset(&m_sigpipe);
        sigaddset(&m_sigpipe, SIGPIPE);
        pthread_sigmask(SIG_BLOCK, &m_sigpipe, &m_previousMask);
        m_callersPending = sigismember(&m_previousMask, SIGPIPE) == 1 && isPending();
    }

    ~SigpipeHold() { pthread_sigmask(SIG_SETMASK, &m_previousMask, nullptr); }

    SigpipeHold(const SigpipeHold&) = delete;
    SigpipeHold& operator=(const SigpipeHold&) = delete;

    void discardOwn() const {
        const timespec atOnce{};
        if (!m_callersPending) {
            sigtimedwait(&m_sigpipe, nullptr, &atOnce);
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
    bool m_callersPending;
};

} // namespace

void writeLine(int descriptor, const std::string& line) {
    const SigpipeHold hold;
    if (write(descriptor, line.data(), line.size()) == -1 && errno == EPIPE) {
        hold.discardOwn();
    }
}

} // namespace ziltrace
