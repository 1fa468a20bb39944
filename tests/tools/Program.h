/* SPDX-License-Identifier: MIT */
#ifndef RYNVEL_TESTS_PROGRAM_H
#define RYNVEL_TESTS_PROGRAM_H

#include <string>

#include "Process.h"

namespace RynvelTest {

/** True in builds for an emulator or with a sanitizer, in which a program takes long to start. */
#ifdef RYNVEL_TESTS_RUN_SLOWLY
constexpr bool testsRunSlowly = true;
#else
constexpr bool testsRunSlowly = false;
#endif

/** Returns the words of a command line. Blanks separate the words. */
Arguments words(const std::string& line);

/** Returns the command that runs a program of this build, with the emulator if the build has one. */
Arguments commandOf(const std::string& path, const Arguments& arguments);

/** Returns the beginning of a shell line that unsets ZILTRACE and RYNVELCTL_REMOTE and enters a folder. */
std::string enter(const std::string& folder);

/** A running program of this build, with the default levels of its trace channels. */
class Program : public Process {
public:
    /** @param path the path in the build folder. @param folder the working folder of the program. */
    Program(const std::string& path, const Arguments& arguments, const std::string& folder, int output = toTheTest);

    /** @param input the name of the file to use as standard input, in the working folder. */
    Program(const std::string& path, const Arguments& arguments, const std::string& folder, const std::string& input);
};

/** Runs a program, and waits until the program ends. */
Ending runProgram(const std::string& path, const Arguments& arguments, const std::string& folder);

/** Runs a program like runProgram(), with an environment variable. @param assignment such as "NAME=value". */
Ending runWithVariable(const std::string& assignment, const std::string& path, const Arguments& arguments,
                       const std::string& folder);

/** A temporary folder for a test. The destructor removes the folder with its contents. */
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

/** Returns the text with "TIME" in place of every time stamp. */
std::string withoutTimes(const std::string& text);

/**
 * Expects rynvelctl to have ended with a status and outputs.
 * @param output the expected output, with "TIME" in place of every time stamp.
 * @param problem the error message without the name of the program, or an empty text if there is none.
 * @param line the command line, which the message of a failure shows.
 */
void expectEnding(const Ending& ending, int status, const std::string& output, const std::string& problem = "",
                  const std::string& line = "");

} // namespace RynvelTest

#endif
