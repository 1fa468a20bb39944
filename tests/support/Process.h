/* SPDX-License-Identifier: MIT */
#ifndef RYNVEL_TESTS_PROCESS_H
#define RYNVEL_TESTS_PROCESS_H

#include <string>
#include <vector>

#include <sys/types.h>

namespace RynvelTest {

/** How a process ended: with a status, or by a signal, whose number is negative here. */
struct Ending {
    int status;
    std::string output;
    std::string error;
};

using Arguments = std::vector<std::string>;

/** A program while it runs, whose standard error goes to the test. What is not said otherwise ends with the test. */
class Process {
public:
    /** Where standard output goes: to the test, or to an open file of its own. */
    static constexpr int toTheTest = -1;

    struct Launch {
        /** What a shell does before it becomes the program, for instance "ulimit -n 64; ". */
        std::string preparation;
        /** Passed as descriptor 3 and those that follow; in rising order. No other open file of the test is passed. */
        std::vector<int> passed;
        int output = toTheTest;
    };

    Process(const Arguments& command, const Launch& launch);
    Process(const Process&) = delete;
    Process& operator=(const Process&) = delete;
    /** Kills it when it still runs. */
    ~Process();

    /** -1 when its end has been waited for. */
    pid_t pid() const { return m_pid; }
    /** The end of the pipe that its standard error comes from. */
    int error() const { return m_error; }

    /** The next line of standard output, or of standard error, without its end; empty when there is none. */
    std::string outputLine() { return line(m_output); }
    std::string errorLine() { return line(m_error); }

    void closeOutput();
    void signal(int number) const;

    /** Whether it has ended; its end can still be waited for. */
    bool hasEnded() const;

    /** Waits for the end. What was read before is not in the outputs. */
    Ending wait();

private:
    static std::string line(int descriptor);
    void start(const Arguments& command, const Launch& launch, int output, int error);

    pid_t m_pid = -1;
    int m_output = -1;
    int m_error = -1;
};

/** What comes from a descriptor until there is no more. */
std::string readToTheEnd(int descriptor);

} // namespace RynvelTest

#endif
