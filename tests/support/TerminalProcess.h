/* SPDX-License-Identifier: MIT */
#ifndef RYNVEL_TESTS_TERMINALPROCESS_H
#define RYNVEL_TESTS_TERMINALPROCESS_H

#include <array>
#include <functional>
#include <string>

#include <sys/types.h>
#include <termios.h>

#include "Process.h"
#include "TerminalScreen.h"

namespace RynvelTest {

/**
 * A program in the foreground of a terminal, as a shell runs it. All three standard streams are the terminal. The
 * session of the terminal outlasts the program.
 */
class TerminalProcess {
public:
    struct Launch {
        std::string folder;
        /** Assignments such as "TERM=xterm". The program does not inherit the environment of the test. */
        Arguments environment;
        std::size_t columns = 80;
        std::size_t rows = 24;
    };

    TerminalProcess(const Arguments& command, const Launch& launch);
    TerminalProcess(const TerminalProcess&) = delete;
    TerminalProcess& operator=(const TerminalProcess&) = delete;
    /** Kills the program if it still runs. */
    ~TerminalProcess();

    void type(const std::string& keys) const;
    void signal(int number) const;
    void resize(std::size_t columns, std::size_t rows);
    /** Moves the shell or the program to the foreground of the terminal, as the commands bg and fg of a shell do. @{ */
    void moveToBackground() const { setForeground(m_leader); }
    void moveToForeground() const { setForeground(m_program); }
    /** @} */

    /** Returns the current modes of the terminal. */
    termios modes() const;

    /** Waits until the screen has a property at the end of a drawing, and fails the test after a minute. */
    void awaitDrawing(const std::function<bool(const TerminalScreen&)>& property);
    /** Waits until the screen has a property, even during a drawing. */
    void await(const std::function<bool(const TerminalScreen&)>& property);

    /**
     * Waits until the program ends, and shows its whole output. Returns its exit status, or the negative number of the
     * signal that ended the program.
     */
    int wait();
    /** Waits until a signal stops the program, and shows its output. */
    void awaitStop();

    const TerminalScreen& screen() const { return m_screen; }
    /** Returns all bytes that the terminal has received so far. */
    const std::string& bytes() const { return m_bytes; }

private:
    /**
     * Shows the next bytes until a condition holds. Returns false if the condition does not hold after the last byte.
     */
    bool showUntil(const std::function<bool()>& condition);
    [[noreturn]] void lead(const Arguments& command, const Launch& launch) const;
    int nextStatus() const;
    void setForeground(pid_t group) const;
    /** Shows everything that the program has written so far. */
    void showAll();

    int m_controller = -1;
    int m_terminal = -1;
    /** The pipe for the ID of the program, and then for the results of waitpid(). */
    std::array<int, 2> m_statuses{};
    /** The pipe that keeps the session alive. The session ends when the test closes its end of the pipe. */
    std::array<int, 2> m_hold{};
    pid_t m_leader = -1;
    pid_t m_program = -1;
    bool m_hasEnded = false;
    TerminalScreen m_screen;
    std::string m_bytes;
    /** Bytes that the screen does not show yet. */
    std::string m_pending;
};

} // namespace RynvelTest

#endif
