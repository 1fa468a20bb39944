#ifndef RYNVEL_TESTS_PROGRAM_H
#define RYNVEL_TESTS_PROGRAM_H

#include <sys/types.h>

#include <string>
#include <vector>

namespace RynvelTest {

/** How a program ended: with a status, or by a signal, whose number is negative here. */
struct Ending {
    int status;
    std::string output;
    std::string error;
};

using Arguments = std::vector<std::string>;

/** The words of a command line, separated by blanks. */
Arguments words(const std::string& line);

/** A program of this build while it runs. What is not said otherwise ends with the test. */
class Program {
public:
    /** Where standard output goes: to the test, or to an open file of its own. */
    static constexpr int toTheTest = -1;

    /** @param path as the build knows it. @param folder the working directory. */
    Program(const std::string& path, const Arguments& arguments, const std::string& folder, int output = toTheTest);
    Program(const Program&) = delete;
    Program& operator=(const Program&) = delete;
    ~Program();

    /** The next line of standard output, or of standard error, without its end; empty when there is none. */
    std::string outputLine() { return line(m_output); }
    std::string errorLine() { return line(m_error); }

    void closeOutput();
    void signal(int number) const;

    /** Waits for the end. What was read line by line is not in the outputs. */
    Ending wait();

private:
    static std::string line(int descriptor);
    void start(const std::string& path, const Arguments& arguments, const std::string& folder, int output, int error);

    pid_t m_process = -1;
    int m_output = -1;
    int m_error = -1;
};

/** Runs a program to its end. */
Ending runProgram(const std::string& path, const Arguments& arguments, const std::string& folder);

/** A folder of its own for a test, gone with it. */
class TestFolder {
public:
    TestFolder();
    TestFolder(const TestFolder&) = delete;
    TestFolder& operator=(const TestFolder&) = delete;
    ~TestFolder();

    const std::string& path() const { return m_path; }
    void store(const std::string& name, const std::string& bytes) const;
    std::string load(const std::string& name) const;

private:
    std::string m_path;
};

/** A text with every time stamp replaced by "TIME". */
std::string withoutTimes(const std::string& text);

} // namespace RynvelTest

#endif
