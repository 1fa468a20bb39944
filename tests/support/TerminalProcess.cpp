// SPDX-License-Identifier: MIT
#include "TerminalProcess.h"

#include <algorithm>
#include <chrono>
#include <csignal>
#include <iterator>
#include <vector>

#include <fcntl.h>
#include <poll.h>
#include <pty.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "BecomesTrue.h"

namespace RynvelTest {

namespace {

constexpr char lastByte = '\0';
/** Continues the output of a terminal that Ctrl-S has stopped. */
constexpr const char* continueOutput = "\x11";

/** The terminal and the program that the signal handler of the shell needs. */
struct Groups {
    int terminal;
    pid_t program;
};

Groups groups;

/** Moves the shell to the foreground of the terminal for SIGUSR1, and the program for SIGUSR2. */
void changeForeground(int signal) { tcsetpgrp(groups.terminal, signal == SIGUSR1 ? getpid() : groups.program); }

winsize sizeOf(std::size_t columns, std::size_t rows) {
    return {static_cast<unsigned short>(rows), static_cast<unsigned short>(columns), 0, 0};
}

/** Returns the pointers that execvpe() takes. */
std::vector<char*> pointersTo(Arguments& words) {
    std::vector<char*> pointers;
    std::transform(words.begin(), words.end(), std::back_inserter(pointers), [](auto& word) { return word.data(); });
    pointers.push_back(nullptr);
    return pointers;
}

/** Moves this process to the foreground of the terminal, and executes the program. Never returns. */
[[noreturn]] void execute(int terminal, Arguments command, const TerminalProcess::Launch& launch) {
    setpgid(0, 0);
    tcsetpgrp(terminal, getpid());
    std::signal(SIGTTOU, SIG_DFL);
    for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        dup2(terminal, stream);
    }
    Arguments environment = launch.environment;
    if (chdir(launch.folder.c_str()) == 0) {
        execvpe(command.front().c_str(), pointersTo(command).data(), pointersTo(environment).data());
    }
    _exit(127);
}

} // namespace

TerminalProcess::TerminalProcess(const Arguments& command, const Launch& launch)
    : m_screen(launch.columns, launch.rows) {
    const winsize size = sizeOf(launch.columns, launch.rows);
    EXPECT_EQ(openpty(&m_controller, &m_terminal, nullptr, nullptr, &size), 0);
    for (const int end : {m_controller, m_terminal}) {
        fcntl(end, F_SETFD, FD_CLOEXEC);
    }
    EXPECT_EQ(pipe2(m_statuses.data(), O_CLOEXEC) + pipe2(m_hold.data(), O_CLOEXEC), 0);
    m_leader = fork();
    if (m_leader == 0) {
        lead(command, launch);
    }
    ::close(m_statuses[1]);
    ::close(m_hold[0]);
    m_program = nextStatus();
}

TerminalProcess::~TerminalProcess() {
    if (!m_hasEnded) {
        ::kill(m_program, SIGKILL);
    }
    ::close(m_hold[1]);
    ::waitpid(m_leader, nullptr, 0);
    for (const int descriptor : {m_statuses[0], m_controller, m_terminal}) {
        ::close(descriptor);
    }
}

void TerminalProcess::lead(const Arguments& command, const Launch& launch) const {
    ::close(m_hold[1]);
    // Only the test keeps this end of the terminal open. If the test is killed, the kernel therefore hangs up the
    // terminal, which ends this process and the program.
    ::close(m_controller);
    setsid();
    ioctl(m_terminal, TIOCSCTTY, 0);
    std::signal(SIGTTOU, SIG_IGN);
    int status = fork();
    if (status == 0) {
        execute(m_terminal, command, launch);
    }
    const pid_t program = status;
    groups = {m_terminal, program};
    std::signal(SIGUSR1, changeForeground);
    std::signal(SIGUSR2, changeForeground);
    ssize_t count = ::write(m_statuses[1], &status, sizeof(status));
    do {
        waitpid(program, &status, WUNTRACED);
        count = ::write(m_statuses[1], &status, sizeof(status));
    } while (WIFSTOPPED(status));
    char nothing = 0;
    count = ::read(m_hold[0], &nothing, 1);
    _exit(static_cast<int>(count));
}

void TerminalProcess::type(const std::string& keys) const {
    EXPECT_EQ(::write(m_controller, keys.data(), keys.size()), static_cast<ssize_t>(keys.size()));
}

void TerminalProcess::signal(int number) const { EXPECT_EQ(::kill(m_program, number), 0); }

void TerminalProcess::setForeground(pid_t group) const {
    EXPECT_EQ(::kill(m_leader, group == m_leader ? SIGUSR1 : SIGUSR2), 0);
    EXPECT_TRUE(becomesTrue([&] { return tcgetpgrp(m_controller) == group; }));
}

void TerminalProcess::resize(std::size_t columns, std::size_t rows) {
    m_screen.resize(columns, rows);
    const winsize size = sizeOf(columns, rows);
    EXPECT_EQ(ioctl(m_controller, TIOCSWINSZ, &size), 0);
}

termios TerminalProcess::modes() const {
    termios modes{};
    EXPECT_EQ(tcgetattr(m_terminal, &modes), 0);
    return modes;
}

void TerminalProcess::awaitDrawing(const std::function<bool(const TerminalScreen&)>& property) {
    std::size_t drawings = m_screen.drawings();
    await([&](const TerminalScreen& screen) {
        const bool isWhole = screen.drawings() != drawings;
        drawings = screen.drawings();
        return isWhole && property(screen);
    });
}

void TerminalProcess::await(const std::function<bool(const TerminalScreen&)>& property) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::minutes(1);
    while (!showUntil([&] { return property(m_screen); })) {
        if (std::chrono::steady_clock::now() > end) {
            FAIL() << m_screen.text() << testing::PrintToString(m_bytes);
        }
        pollfd readable{m_controller, POLLIN, 0};
        constexpr int interval = 1000;
        if (::poll(&readable, 1, interval) > 0) {
            std::array<char, 4096> piece{};
            const ssize_t count = ::read(m_controller, piece.data(), piece.size());
            ASSERT_GT(count, 0);
            m_pending.append(piece.data(), static_cast<std::size_t>(count));
        }
    }
}

bool TerminalProcess::showUntil(const std::function<bool()>& condition) {
    std::size_t shown = 0;
    bool holds = condition();
    while (!holds && shown < m_pending.size()) {
        m_bytes += m_pending[shown];
        m_screen.show(m_pending[shown++]);
        holds = condition();
    }
    m_pending.erase(0, shown);
    return holds;
}

int TerminalProcess::wait() {
    const int status = nextStatus();
    m_hasEnded = true;
    EXPECT_FALSE(WIFSTOPPED(status));
    showAll();
    return WIFSIGNALED(status) ? -WTERMSIG(status) : WEXITSTATUS(status);
}

void TerminalProcess::awaitStop() {
    EXPECT_TRUE(WIFSTOPPED(nextStatus()));
    showAll();
}

void TerminalProcess::showAll() {
    type(continueOutput);
    // The terminal delivers this byte after the output of the program.
    EXPECT_EQ(::write(m_terminal, &lastByte, 1), 1);
    await([this](const TerminalScreen&) { return !m_bytes.empty() && m_bytes.back() == lastByte; });
    m_bytes.pop_back();
}

int TerminalProcess::nextStatus() const {
    int status = 0;
    EXPECT_EQ(::read(m_statuses[0], &status, sizeof(status)), static_cast<ssize_t>(sizeof(status)));
    return status;
}

} // namespace RynvelTest
