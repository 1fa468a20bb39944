// SPDX-License-Identifier: MIT
#include "Terminal.h"

#include <array>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <ctime>
#include <initializer_list>
#include <string_view>

#include <poll.h>
#include <termios.h>
#include <unistd.h>

namespace Rynvelctl {

namespace {

constexpr std::string_view hideCursor = "\x1b[?25l";
constexpr std::string_view restoreAll = "\x1b[0m\x1b[?25h";
constexpr std::string_view saveCursor = "\x1b\x37";
/** These control sequences also move the cursor to its saved position, which is below the lines. */
constexpr std::string_view restoreAmidLines = "\x1b[0m\x1b\x38\x1b[?25h";
constexpr std::string_view clearScreen = "\x1b[H\x1b[2J";
constexpr std::string_view eraseLine = "\x1b[K";
constexpr std::string_view eraseBelow = "\x1b[J";
constexpr std::string_view endLine = "\r\n";

/**
 * Further signals that end the process by default. The list omits the signals that report a fault of the program
 * itself, such as SIGSEGV.
 */
constexpr std::array<int, 10> rareTerminationSignals{SIGABRT, SIGALRM, SIGIO,   SIGPROF,   SIGPWR,
                                                     SIGSYS,  SIGUSR1, SIGUSR2, SIGVTALRM, SIGXCPU};
/**
 * The interval for checking whether the process is still in the background. No signal reports the change to the
 * foreground.
 */
constexpr std::chrono::milliseconds backgroundWait{250};

/** The data of the signal handlers. */
struct SignalState {
    volatile std::sig_atomic_t isHidden;
    volatile std::sig_atomic_t isDrawing;
    volatile std::sig_atomic_t hasResized;
    /**
     * Whether the process was stopped and continued after the last drawing. Other processes may then have written to
     * the terminal.
     */
    volatile std::sig_atomic_t hasContinued;
    volatile std::sig_atomic_t hasOtherModes;
    termios modes;
};

SignalState signalState;

/** Blocks signals as long as the object exists. A signal handler may construct an object. */
class BlockedSignals {
public:
    BlockedSignals(std::initializer_list<int> signals) {
        sigset_t blocked;
        sigemptyset(&blocked);
        for (const int signal : signals) {
            sigaddset(&blocked, signal);
        }
        ::pthread_sigmask(SIG_BLOCK, &blocked, &m_before);
    }
    BlockedSignals(const BlockedSignals&) = delete;
    BlockedSignals& operator=(const BlockedSignals&) = delete;
    ~BlockedSignals() { ::pthread_sigmask(SIG_SETMASK, &m_before, nullptr); }

private:
    sigset_t m_before{};
};

/**
 * Returns whether the process is in the background of its controlling terminal. Returns false if standard output is
 * another terminal.
 */
bool isInBackground() {
    const pid_t foreground = ::tcgetpgrp(STDOUT_FILENO);
    return foreground != -1 && foreground != ::getpgrp();
}

/**
 * Turns off the echo of the terminal if the process is in the foreground. Any other process must not change the modes
 * of the terminal.
 */
void changeModes() {
    if (::tcgetpgrp(STDOUT_FILENO) != ::getpgrp()) {
        return;
    }
    if (signalState.hasOtherModes == 0 && ::tcgetattr(STDOUT_FILENO, &signalState.modes) != 0) {
        return;
    }
    termios changed = signalState.modes;
    changed.c_lflag &= ~static_cast<tcflag_t>(ECHO | ECHONL);
    signalState.hasOtherModes = 1;
    ::tcsetattr(STDOUT_FILENO, TCSANOW, &changed);
}

/**
 * Restores the cursor and the modes of the terminal. In the background, leaves the modes to the processes that use the
 * terminal. Waits at most 100 ms for a terminal that does not accept output. A signal handler may call this function.
 */
void restore() {
    // Otherwise, SIGTTOU would stop a process that has just moved to the background.
    const BlockedSignals blocked{SIGTTOU};
    if (signalState.isHidden != 0) {
        const std::string_view text = signalState.isDrawing != 0 ? restoreAmidLines : restoreAll;
        pollfd output{STDOUT_FILENO, POLLOUT, 0};
        constexpr int longestWait = 100;
        if (::poll(&output, 1, longestWait) > 0) {
            [[maybe_unused]] const ssize_t count = ::write(STDOUT_FILENO, text.data(), text.size());
        }
        signalState.isHidden = 0;
    }
    if (signalState.hasOtherModes != 0 && !isInBackground()) {
        ::tcsetattr(STDOUT_FILENO, TCSANOW, &signalState.modes);
        signalState.hasOtherModes = 0;
    }
}

/** Installs a handler, except for a signal that the parent process ignores. */
void handle(int signal, void (*handler)(int)) {
    struct sigaction action {};
    if (::sigaction(signal, nullptr, &action) != 0 || action.sa_handler == SIG_IGN) {
        return;
    }
    action = {};
    action.sa_handler = handler;
    // With SA_RESTART, an access to a device continues after the signal, as it would without a handler.
    action.sa_flags = static_cast<int>(SA_RESTART);
    ::sigaction(signal, &action, nullptr);
}

extern "C" {

void endAtSignal(int signal) {
    restore();
    TerminationSignalHandler::endProcess(signal);
}

void noteSignal(int signal) {
    if (signal == SIGCONT) {
        signalState.hasContinued = 1;
    } else {
        signalState.hasResized = 1;
    }
}

void stopAtSignal(int signal) {
    const int error = errno;
    restore();
    std::signal(signal, SIG_DFL);
    std::raise(signal);
    // The signal is blocked while its handler runs. Unblocking the signal stops the process until the user continues
    // the process.
    sigset_t stopping;
    sigemptyset(&stopping);
    sigaddset(&stopping, signal);
    sigset_t before;
    ::pthread_sigmask(SIG_UNBLOCK, &stopping, &before);
    ::pthread_sigmask(SIG_SETMASK, &before, nullptr);
    handle(signal, stopAtSignal);
    signalState.hasContinued = 1;
    errno = error;
}

} // extern "C"

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
    // SIGWINCH is blocked except during a wait, so that the signal does not interrupt an access to a device.
    sigset_t resizing;
    sigemptyset(&resizing);
    sigaddset(&resizing, SIGWINCH);
    ::pthread_sigmask(SIG_BLOCK, &resizing, &m_previousMask);
    m_waitingMask = m_previousMask;
    sigdelset(&m_waitingMask, SIGWINCH);
    handle(SIGWINCH, noteSignal);
    handle(SIGTSTP, stopAtSignal);
    handle(SIGCONT, noteSignal);
    m_terminationSignals.emplace(endAtSignal);
    m_rareTerminationSignals.emplace(endAtSignal,
                                     std::vector<int>(rareTerminationSignals.begin(), rareTerminationSignals.end()));
    changeModes();
}

Terminal::~Terminal() {
    restore();
    m_terminationSignals.reset();
    m_rareTerminationSignals.reset();
    for (const int signal : {SIGWINCH, SIGTSTP, SIGCONT}) {
        unhandle(signal);
    }
    ::pthread_sigmask(SIG_SETMASK, &m_previousMask, nullptr);
}

TerminalSize Terminal::size() const { return terminalSize(STDOUT_FILENO); }

void Terminal::draw(const std::vector<std::string>& lines) {
    // If a stop could interrupt the drawing, the process would draw the rest only after it continues.
    const BlockedSignals blocked{SIGTSTP};
    const bool hasContinued = signalState.hasContinued != 0;
    signalState.hasContinued = 0;
    m_isInBackground = isInBackground();
    if (hasContinued || m_isInBackground) {
        m_drawn = 0;
    }
    if (m_isInBackground) {
        m_isStale = false;
        restore();
        return;
    }
    std::string text;
    if (hasContinued || signalState.isHidden == 0) {
        changeModes();
        text = hideCursor;
    }
    if (m_isStale) {
        text += clearScreen;
        m_drawn = 0;
    }
    text += placeFor(lines.size());
    for (const std::string& line : lines) {
        // Erases each line before it is drawn. After a full line, eraseLine would also erase the last character.
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
    const BlockedSignals blocked{SIGTSTP, SIGCONT};
    while (signalState.hasResized == 0 && signalState.hasContinued == 0) {
        const auto end =
            m_isInBackground ? Common::Deadline::earlier(Common::Deadline(backgroundWait), deadline) : deadline;
        pollfd output{STDOUT_FILENO, 0, 0};
        timespec left{};
        const int count = ::ppoll(&output, 1, timeLeft(end, left), &m_waitingMask);
        if (count > 0) {
            throw OutputClosed();
        }
        if (count == 0 && (!m_isInBackground || deadline.hasPassed())) {
            return true;
        }
        if (m_isInBackground && !isInBackground()) {
            return false;
        }
    }
    // After a change of its size, a terminal may wrap the lines differently, so the position of the cursor is unknown.
    m_isStale = signalState.hasResized != 0;
    signalState.hasResized = 0;
    return false;
}

} // namespace Rynvelctl
