/* SPDX-License-Identifier: MIT */
/**
 * @file
 * Shows the progress of a command.
 */
#ifndef RYNVELCTL_PROGRESSBAR_H
#define RYNVELCTL_PROGRESSBAR_H

#include <atomic>
#include <chrono>
#include <cstddef>
#include <optional>
#include <string>

#include "TerminationSignals.h"

namespace Rynvelctl {

/** Returns a line with a bar that fits the columns of a terminal. @param total must be at least `done`, and not 0. */
std::string progressLine(const std::string& label, std::size_t done, std::size_t total, std::size_t columns);

/**
 * A line on standard error that shows the progress of a command. It appears after one second, and only if standard
 * error is a terminal. The destructor erases it, and so does a signal that ends the program. Only one object can exist
 * at a time.
 */
class ProgressBar {
public:
    /** @param total the number of steps. */
    ProgressBar(std::string label, std::size_t total);
    ProgressBar(const ProgressBar&) = delete;
    ProgressBar& operator=(const ProgressBar&) = delete;
    ~ProgressBar();

    /** Counts a step. */
    void advance();

private:
    using Clock = std::chrono::steady_clock;

    static void eraseAtSignal(int number);

    void draw();
    /** @param others the number of columns after the line in which the terminal may have shown other characters. */
    void erase(std::size_t others) const;

    const std::string m_label;
    const std::size_t m_total;
    std::size_t m_done = 0;
    Clock::time_point m_nextDrawing;
    /** The length in characters of the line that the terminal shows; 0 without a line. */
    std::atomic<std::size_t> m_shown{0};
    /** This member must be the last, because its handler uses the other members. */
    std::optional<TerminationSignalHandler> m_terminationSignals;
};

} // namespace Rynvelctl

#endif
