/* SPDX-License-Identifier: MIT */
/**
 * @file
 * Standard output as a terminal on which a command draws in place.
 */
#ifndef RYNVELCTL_TERMINAL_H
#define RYNVELCTL_TERMINAL_H

#include <csignal>
#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "Output.h"
#include "TerminalSize.h"
#include "TerminationSignals.h"

namespace Rynvelctl {

/**
 * Draws lines on the terminal, and replaces them in place. While the object exists, the cursor is hidden, and the echo
 * of the terminal is off. The destructor restores both and leaves the last lines on the terminal. A signal that ends or
 * stops the process also restores both. While the process is in the background, the object draws nothing. Only one
 * object may exist at a time.
 */
class Terminal {
public:
    /** Returns whether standard output is a terminal, and TERM is neither unset, empty nor "dumb". */
    static bool isAvailable();

    /** @param output must outlive this object. @throws Failure or OutputClosed, like every function that writes. */
    explicit Terminal(const Output& output);
    Terminal(const Terminal&) = delete;
    Terminal& operator=(const Terminal&) = delete;
    ~Terminal();

    TerminalSize size() const;

    /**
     * Draws lines in place of the lines that were drawn before.
     *
     * @param lines must not be longer than the terminal is wide. The number of lines must be below the number of rows.
     */
    void draw(const std::vector<std::string>& lines);

    /**
     * Waits until the deadline.
     *
     * @return false if you must draw the lines again before the deadline, because the terminal has another size,
     * because the user has stopped and continued the process, or because the process is no longer in the background.
     */
    bool wait(const Common::Deadline& deadline);

private:
    /**
     * Returns the control sequences that make room for lines, save the cursor position below these lines, and move the
     * cursor to the first of them.
     */
    std::string placeFor(std::size_t lines);

    const Output& m_output;
    /** The number of lines above the cursor. */
    std::size_t m_drawn = 0;
    bool m_isStale = false;
    /** Whether draw() has found the process in the background, and has not drawn the last lines. */
    bool m_isInBackground = false;
    std::optional<TerminationSignalHandler> m_terminationSignals;
    std::optional<TerminationSignalHandler> m_rareTerminationSignals;
    sigset_t m_waitingMask{};
    sigset_t m_previousMask{};
};

} // namespace Rynvelctl

#endif
