/* SPDX-License-Identifier: MIT */
#ifndef RYNVEL_TESTS_PROCESS_H
#define RYNVEL_TESTS_PROCESS_H

#include <string>
#include <vector>

#include <sys/types.h>

namespace RynvelTest {

/** The status and the outputs of a process that has ended. */
struct Ending {
    /** The exit status, or the negative number of the signal that ended the process. */
    int status;
    std::string output;
    std::string error;
};

using Arguments = std::vector<std::string>;

/** A running program, whose standard error the test reads. */
class Process {
public:
    /** The value of Launch::output that lets the test read standard output. */
    static constexpr int toTheTest = -1;

    struct Launch {
        /** Commands that a shell runs before it executes the program, for instance "ulimit -n 64; ". */
        std::string preparation;
        /**
         * The descriptors that the program inherits as 3, 4 and so on. They must be in ascending order. The program
         * inherits no other descriptor of the test, except standard input.
         */
        std::vector<int> passed;
        int output = toTheTest;
    };

    Process(const Arguments& command, const Launch& launch);
    Process(const Process&) = delete;
    Process& operator=(const Process&) = delete;
    /** Kills the program if it still runs. */
    ~Process();

    /** Returns the process ID, or -1 after wait(). */
    pid_t pid() const { return m_pid; }
    /** Returns the read end of the pipe to which the program writes standard error. */
    int error() const { return m_error; }

    /** Returns the next line of standard output without its newline, or an empty text at the end of standard output. */
    std::string outputLine() { return line(m_output); }
    std::string errorLine() { return line(m_error); }

    void closeOutput();
    void signal(int number) const;

    /** Returns whether the program has ended. You must still call wait(). */
    bool hasEnded() const;

    /** Waits until the program ends. Returns its status, and its outputs without the lines that were read before. */
    Ending wait();

private:
    static std::string line(int descriptor);
    void start(const Arguments& command, const Launch& launch, int output, int error);

    pid_t m_pid = -1;
    int m_output = -1;
    int m_error = -1;
};

/** Returns the bytes that a descriptor delivers up to its end. */
std::string readToTheEnd(int descriptor);

} // namespace RynvelTest

#endif
