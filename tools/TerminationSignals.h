/* SPDX-License-Identifier: MIT */
/**
 * @file
 * Handlers for the signals that end the process by default.
 */
#ifndef RYNVELCTL_TERMINATIONSIGNALS_H
#define RYNVELCTL_TERMINATIONSIGNALS_H

#include <array>
#include <csignal>
#include <vector>

namespace Rynvelctl {

constexpr std::array<int, 4> terminationSignals{SIGHUP, SIGINT, SIGQUIT, SIGTERM};

/**
 * As long as the object exists, calls a handler for signals that end the process. While the handler runs, all signals
 * are blocked. The handler must end the process with endProcess(), or call passOn(). The destructor restores the
 * earlier actions.
 */
class TerminationSignalHandler {
public:
    /**
     * Leaves out the signals that the process ignores, because the program that started the process may require this.
     */
    explicit TerminationSignalHandler(void (*handler)(int), const std::vector<int>& signals = {
                                                                terminationSignals.begin(), terminationSignals.end()});
    TerminationSignalHandler(const TerminationSignalHandler&) = delete;
    TerminationSignalHandler& operator=(const TerminationSignalHandler&) = delete;
    ~TerminationSignalHandler();

    /** Restores the replaced action of a signal, and raises the signal again. */
    void passOn(int number) const;

    /** Ends the process by a signal when the handler that calls this function returns. */
    static void endProcess(int number);

private:
    /** A signal whose action the object replaces. */
    struct Replaced {
        int number;
        struct sigaction before;
    };
    std::vector<Replaced> m_replaced;
};

} // namespace Rynvelctl

#endif
