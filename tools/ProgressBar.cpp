// SPDX-License-Identifier: MIT
#include "ProgressBar.h"

#include <algorithm>
#include <string_view>
#include <utility>

#include <poll.h>
#include <unistd.h>

#include "TerminalSize.h"

namespace Rynvelctl {

namespace {

constexpr std::chrono::seconds firstDrawing{1};
constexpr std::chrono::milliseconds redrawing{100};

/** A terminal shows this text when the user types Ctrl-C. */
constexpr std::string_view shownAtSignal = "^C";

constexpr std::string_view manyBlanks = "                                                                ";

/** The object that has drawn a line, for the signal handler. */
std::atomic<const ProgressBar*> currentBar{nullptr};

/**
 * Writes a text if the terminal can take it now, because the bar must not delay the command. Returns whether the text
 * was written.
 */
bool show(std::string_view text) {
    pollfd terminal{STDERR_FILENO, POLLOUT, 0};
    return ::poll(&terminal, 1, 0) == 1 && ::write(STDERR_FILENO, text.data(), text.size()) != -1;
}

} // namespace

std::string progressLine(const std::string& label, std::size_t done, std::size_t total, std::size_t columns) {
    constexpr std::size_t longestBar = 40;
    constexpr std::size_t percent = 100;
    const std::string number = std::to_string(done * percent / total);
    const std::string text = std::string(number.size() < 3 ? 3 - number.size() : 0, ' ') + number + " %";
    // Most terminals move to the next line after a character in the last column.
    constexpr std::size_t unused = shownAtSignal.size() + 1;
    const std::size_t most = std::max(columns, unused) - unused;
    const std::size_t others = label.size() + text.size() + std::string(" [] ").size();
    if (others >= most) {
        return text.size() <= most ? text : "";
    }
    const std::size_t size = std::min(longestBar, most - others);
    const std::size_t filled = size * done / total;
    return label + " [" + std::string(filled, '#') + std::string(size - filled, '.') + "] " + text;
}

ProgressBar::ProgressBar(std::string label, std::size_t total)
    : m_label(std::move(label)), m_total(total), m_nextDrawing(Clock::now() + firstDrawing) {}

ProgressBar::~ProgressBar() {
    erase(0);
    m_terminationSignals.reset();
    currentBar = nullptr;
}

void ProgressBar::advance() {
    ++m_done;
    const Clock::time_point now = Clock::now();
    if (now < m_nextDrawing) {
        return;
    }
    const bool isTerminal = ::isatty(STDERR_FILENO) == 1;
    m_nextDrawing = isTerminal ? now + redrawing : Clock::time_point::max();
    if (isTerminal) {
        draw();
    }
}

void ProgressBar::draw() {
    const std::string line = progressLine(m_label, m_done, m_total, terminalSize(STDERR_FILENO).columns);
    // The blanks cover the rest of a longer line, which was drawn before the terminal became narrower.
    const std::size_t shown = m_shown;
    const std::size_t rest = shown > line.size() ? shown - line.size() : 0;
    if (!m_terminationSignals) {
        currentBar = this;
        m_terminationSignals.emplace(eraseAtSignal);
    }
    // Stores the length before the drawing, because a signal may arrive during the drawing.
    m_shown = line.size() + rest;
    if (show('\r' + line + std::string(rest, ' '))) {
        m_shown = line.size();
    } else {
        m_shown = shown;
    }
}

void ProgressBar::erase(std::size_t others) const {
    if (m_shown == 0) {
        return;
    }
    show("\r");
    for (std::size_t left = m_shown + others; left != 0;) {
        const std::string_view piece = manyBlanks.substr(0, left);
        show(piece);
        left -= piece.size();
    }
    show("\r");
}

void ProgressBar::eraseAtSignal(int number) {
    const ProgressBar* const bar = currentBar;
    if (bar == nullptr || !bar->m_terminationSignals) {
        TerminationSignalHandler::endProcess(number);
        return;
    }
    bar->erase(shownAtSignal.size());
    bar->m_terminationSignals->passOn(number);
}

} // namespace Rynvelctl
