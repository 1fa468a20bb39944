// SPDX-License-Identifier: MIT
#include "EndingSignals.h"

namespace Rynvelctl {

EndingSignalHandler::EndingSignalHandler(void (*handler)(int), const std::vector<int>& signals) {
    struct sigaction action {};
    action.sa_handler = handler;
    action.sa_flags = static_cast<int>(SA_RESETHAND);
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

void EndingSignalHandler::passOn(int number) const {
    for (const Replaced& replaced : m_replaced) {
        if (replaced.number == number) {
            ::sigaction(number, &replaced.before, nullptr);
        }
    }
    // The signal is blocked until the handler returns.
    ::raise(number);
}

EndingSignalHandler::~EndingSignalHandler() {
    for (const Replaced& replaced : m_replaced) {
        ::sigaction(replaced.number, &replaced.before, nullptr);
    }
}

} // namespace Rynvelctl
