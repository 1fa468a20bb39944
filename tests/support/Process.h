/* SPDX-License-Identifier: MIT */
#ifndef RYNVEL_TESTS_PROCESS_H
#define RYNVEL_TESTS_PROCESS_H

#include <string>
#include <vector>

#include <sys/types.h>

namespace RynvelTest {

/** The end of a process: its exit status, or the negative number of the signal that ended it. */
struct Ending {
    int status;
    std::string output;
    std::string error;
};

using Arguments = std::vector<std::string>;

/** A running program. The test reads its standard error. The program ends with the test at the latest. */
class Process {
public:
    /** The destination of standard output: the test, or an open file. */
    static constexpr int toTheTest = -1;

    struct Launch {
        /** Commands that a shell runs before it executes the program, for instance "ulimit -n 64; ". */
        std::string preparation;
        /** Passed as descriptor 3 and the following ones, in rising order. The program inherits no other file of the
         * test. */
        std::vector<int> passed;
        int output = toTheTest;
    };

    Process(const Arguments& command, const Launch& launch);
    Process(const Process&) = delete;
    Process& operator=(const Process&) = delete;
    /** Kills the program if it still runs. */
    ~Process();

    /** -1 after wait(). */
    pid_t pid() const { return m_pid; }
    /** The reading end of the pipe that is its standard error. */
    int error() const { return m_error; }

    /** The next line of standard output or standard error, without its newline; empty at the end. */
    std::string outputLine() { return line(m_output); }
    std::string errorLine() { return line(m_error); }

    void closeOutput();
    void signal(int number) const;

    /** Tells whether the program has ended. A call of wait() is still needed. */
    bool hasEnded() const;

    /** Waits for the end. The outputs do not include what was read before. */
    Ending wait();

private:
    static std::string line(int descriptor);
    void start(const Arguments& command, const Launch& launch, int output, int error);

    pid_t m_pid = -1;
    int m_output = -1;
    int m_error = -1;
};

/** Reads a descriptor until its end. */
std::string readToTheEnd(int descriptor);

} // namespace RynvelTest

#endif
