/* SPDX-License-Identifier: MIT */
/**
 * @file
 * Shows how far a command has come.
 */
#ifndef RYNVELCTL_PROGRESSBAR_H
#define RYNVELCTL_PROGRESSBAR_H

#include <chrono>
#include <cstddef>
#include <string>

namespace Rynvelctl {

/** Returns a line with a bar that fits the columns of a terminal. @param total is at least `done`, and not 0. */
std::string progressLine(const std::string& label, std::size_t done, std::size_t total, std::size_t columns);

/**
 * A line on standard error that shows how far a command has come. It appears after one second, and only if standard
 * error is a terminal. The destructor erases it.
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

    void draw();
    void erase();

    const std::string m_label;
    const std::size_t m_total;
    std::size_t m_done = 0;
    Clock::time_point m_nextDrawing;
    /** The length of the line that the terminal shows. */
    std::size_t m_shown = 0;
};

} // namespace Rynvelctl

#endif
