// SPDX-License-Identifier: MIT
#include "TerminationSignals.h"

namespace Rynvelctl {

TerminationSignalHandler::TerminationSignalHandler(void (*handler)(int), const std::vector<int>& signals) {
    struct sigaction action {};
    action.sa_handler = handler;
    // SA_RESETHAND is not set. With it, a second signal could end the process before the handler has begun.
    ::sigfillset(&action.sa_mask);
    m_replaced.reserve(signals.size());
    for (const int number : signals) {
        Replaced replaced{number, {}};
        ::sigaction(number, nullptr, &replaced.before);
        if (replaced.before.sa_handler != SIG_IGN) {
            ::sigaction(number, &action, nullptr);
            m_replaced.push_back(replaced);
        }
    }
}

void TerminationSignalHandler::passOn(int number) const {
    for (const Replaced& replaced : m_replaced) {
        if (replaced.number == number) {
            ::sigaction(number, &replaced.before, nullptr);
        }
    }
    // The signal is blocked until the handler returns.
    ::raise(number);
}

void TerminationSignalHandler::endProcess(int number) {
    // The default actions of all termination signals ensure that a pending signal does not call a handler again.
    for (const int ending : terminationSignals) {
        std::signal(ending, SIG_DFL);
    }
    std::signal(number, SIG_DFL);
    ::raise(number);
}

TerminationSignalHandler::~TerminationSignalHandler() {
    for (const Replaced& replaced : m_replaced) {
        ::sigaction(replaced.number, &replaced.before, nullptr);
    }
}

} // namespace Rynvelctl
