// SPDX-License-Identifier: MIT
#include "Terminal.h"

#include <array>
#include <cerrno>
#include <cstdlib>
#include <ctime>
#include <string_view>

#include <poll.h>
#include <termios.h>
#include <unistd.h>

namespace Rynvelctl {

namespace {

constexpr std::string_view hideCursor = "\x1b[?25l";
constexpr std::string_view restoreAll = "\x1b[0m\x1b[?25h";
constexpr std::string_view saveCursor = "\x1b\x37";
/** Also returns to the saved place, which is below the lines. */
constexpr std::string_view restoreAmidLines = "\x1b[0m\x1b\x38\x1b[?25h";
constexpr std::string_view clearScreen = "\x1b[H\x1b[2J";
constexpr std::string_view eraseLine = "\x1b[K";
constexpr std::string_view eraseBelow = "\x1b[J";
constexpr std::string_view endLine = "\r\n";

/** Blocked except during a wait, so that they interrupt no access to a device. */
constexpr std::array<int, 2> waitingSignals{SIGWINCH, SIGTSTP};

/** What the signal handlers need. */
struct SignalState {
    volatile std::sig_atomic_t isHidden;
    volatile std::sig_atomic_t isDrawing;
    volatile std::sig_atomic_t hasResized;
    volatile std::sig_atomic_t hasToStop;
    volatile std::sig_atomic_t hasOtherModes;
    termios modes;
};

SignalState signalState;

/** Stops showing what the user types. A process in the background must not change the modes of the terminal. */
void changeModes() {
    if (::tcgetpgrp(STDOUT_FILENO) != ::getpgrp() || ::tcgetattr(STDOUT_FILENO, &signalState.modes) != 0) {
        return;
    }
    termios changed = signalState.modes;
    changed.c_lflag &= ~static_cast<tcflag_t>(ECHO | ECHONL);
    signalState.hasOtherModes = 1;
    ::tcsetattr(STDOUT_FILENO, TCSANOW, &changed);
}

/** Restores the terminal. A signal handler may call this function. It does not wait for a terminal that is stuck. */
void restore() {
    if (signalState.isHidden != 0) {
        const std::string_view text = signalState.isDrawing != 0 ? restoreAmidLines : restoreAll;
        pollfd output{STDOUT_FILENO, POLLOUT, 0};
        constexpr int longestWait = 100;
        if (::poll(&output, 1, longestWait) > 0) {
            [[maybe_unused]] const ssize_t count = ::write(STDOUT_FILENO, text.data(), text.size());
        }
        signalState.isHidden = 0;
    }
    if (signalState.hasOtherModes != 0) {
        ::tcsetattr(STDOUT_FILENO, TCSANOW, &signalState.modes);
        signalState.hasOtherModes = 0;
    }
}

extern "C" {

void endAtSignal(int signal) {
    restore();
    std::raise(signal);
}

void noteSignal(int signal) {
    if (signal == SIGTSTP) {
        signalState.hasToStop = 1;
    } else {
        signalState.hasResized = 1;
    }
}

} // extern "C"

/** Installs a handler, except for a signal that the parent process ignores. */
void handle(int signal, void (*handler)(int)) {
    struct sigaction action {};
    if (::sigaction(signal, nullptr, &action) != 0 || action.sa_handler == SIG_IGN) {
        return;
    }
    action = {};
    action.sa_handler = handler;
    ::sigaction(signal, &action, nullptr);
}

void unhandle(int signal) {
    struct sigaction action {};
    if (::sigaction(signal, nullptr, &action) == 0 && action.sa_handler != SIG_IGN) {
        std::signal(signal, SIG_DFL);
    }
}

std::string upBy(std::size_t lines) { return lines == 0 ? "" : "\x1b[" + std::to_string(lines) + "A\r"; }

/** Returns the time left for ppoll(); null for a deadline without a limit. */
const timespec* timeLeft(const Common::Deadline& deadline, timespec& left) {
    constexpr int perSecond = 1000;
    constexpr long nanoseconds = 1000000;
    const int milliseconds = deadline.pollTimeout();
    left = {milliseconds / perSecond, (milliseconds % perSecond) * nanoseconds};
    return milliseconds < 0 ? nullptr : &left;
}

} // namespace

bool Terminal::isAvailable() {
    const char* const type = std::getenv("TERM");
    return type != nullptr && *type != '\0' && std::string_view(type) != "dumb" && ::isatty(STDOUT_FILENO) != 0;
}

Terminal::Terminal(const Output& output) : m_output(output) {
    signalState = {};
    sigset_t blocked;
    sigemptyset(&blocked);
    for (const int signal : waitingSignals) {
        sigaddset(&blocked, signal);
    }
    ::pthread_sigmask(SIG_BLOCK, &blocked, &m_previousMask);
    m_waitingMask = m_previousMask;
    for (const int signal : waitingSignals) {
        sigdelset(&m_waitingMask, signal);
        handle(signal, noteSignal);
    }
    m_endingSignals.emplace(endAtSignal);
    changeModes();
}

Terminal::~Terminal() {
    restore();
    m_endingSignals.reset();
    for (const int signal : waitingSignals) {
        unhandle(signal);
    }
    ::pthread_sigmask(SIG_SETMASK, &m_previousMask, nullptr);
}

TerminalSize Terminal::size() const { return terminalSize(STDOUT_FILENO); }

void Terminal::draw(const std::vector<std::string>& lines) {
    std::string text(signalState.isHidden != 0 ? "" : hideCursor);
    if (m_isStale) {
        text += clearScreen;
        m_drawn = 0;
    }
    text += placeFor(lines.size());
    for (const std::string& line : lines) {
        // After a full line, a terminal would erase the last character.
        text.append(eraseLine).append(line).append(endLine);
    }
    text += eraseBelow;
    signalState.isHidden = 1;
    signalState.isDrawing = 1;
    m_output.write(text);
    signalState.isDrawing = 0;
    m_isStale = false;
}

std::string Terminal::placeFor(std::size_t lines) {
    std::string text;
    if (m_drawn != lines) {
        text = upBy(m_drawn);
        for (std::size_t i = 0; i < lines; ++i) {
            text += endLine;
        }
        m_drawn = lines;
    }
    return text.append(saveCursor) + upBy(lines);
}

bool Terminal::wait(const Common::Deadline& deadline) {
    while (signalState.hasResized == 0 && signalState.hasToStop == 0) {
        pollfd output{STDOUT_FILENO, 0, 0};
        timespec left{};
        const int count = ::ppoll(&output, 1, timeLeft(deadline, left), &m_waitingMask);
        if (count > 0) {
            throw OutputClosed();
        }
        if (count == 0) {
            return true;
        }
    }
    if (signalState.hasToStop != 0) {
        signalState.hasToStop = 0;
        stop();
    }
    // A terminal may wrap the lines anew, so the place of the cursor is unknown.
    m_isStale = signalState.hasResized != 0;
    signalState.hasResized = 0;
    return false;
}

void Terminal::stop() {
    restore();
    std::signal(SIGTSTP, SIG_DFL);
    std::raise(SIGTSTP);
    // The process stops here until the user continues it.
    sigset_t mask;
    ::pthread_sigmask(SIG_SETMASK, &m_waitingMask, &mask);
    ::pthread_sigmask(SIG_SETMASK, &mask, nullptr);
    handle(SIGTSTP, noteSignal);
    m_drawn = 0;
    changeModes();
}

} // namespace Rynvelctl
