/* SPDX-License-Identifier: MIT */
#ifndef RYNVEL_TESTS_PROGRAM_H
#define RYNVEL_TESTS_PROGRAM_H

#include <string>

#include "Process.h"

namespace RynvelTest {

/** The words of a command line, separated by blanks. */
Arguments words(const std::string& line);

/** A running program of this build, with the default levels of its trace channels. */
class Program : public Process {
public:
    /** @param path the path in the build folder. @param folder the working directory. */
    Program(const std::string& path, const Arguments& arguments, const std::string& folder, int output = toTheTest);
};

/** Runs a program to its end. */
Ending runProgram(const std::string& path, const Arguments& arguments, const std::string& folder);

/** A folder of its own for a test, removed at the end. */
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

/**
 * Expects how rynvelctl has ended.
 * @param output with "TIME" in place of every time stamp.
 * @param problem the error message, without the name of the program; empty for none.
 * @param line the command line, for the message of a failure.
 */
void expectEnding(const Ending& ending, int status, const std::string& output, const std::string& problem = "",
                  const std::string& line = "");

} // namespace RynvelTest

#endif
