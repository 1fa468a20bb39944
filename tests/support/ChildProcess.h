/* SPDX-License-Identifier: MIT */
#ifndef RYNVEL_TESTS_CHILDPROCESS_H
#define RYNVEL_TESTS_CHILDPROCESS_H

#include <cstdlib>

#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

namespace RynvelTest {

/**
 * Runs the body in a child process, which has its own Factory. The test fails if an expectation of the body fails. It
 * also fails if the text on standard error does not contain a match of the regular expression `pattern`. This text
 * includes the output of exit handlers.
 */
template <typename Body>
void inChildProcess(Body body, const char* pattern = "") {
    EXPECT_EXIT(
        {
            body();
            std::exit(testing::Test::HasFailure() ? EXIT_FAILURE : EXIT_SUCCESS);
        },
        testing::ExitedWithCode(EXIT_SUCCESS), pattern);
}

/** Returns whether the body returns true in a child process. The child process does not run exit handlers. */
template <typename Body>
bool succeedsInChildProcess(Body body) {
    const pid_t child = fork();
    if (child == 0) {
        syscall(SYS_exit_group, body() ? EXIT_SUCCESS : EXIT_FAILURE);
    }
    int status = -1;
    return waitpid(child, &status, 0) == child && WIFEXITED(status) && WEXITSTATUS(status) == EXIT_SUCCESS;
}

} // namespace RynvelTest

#endif
