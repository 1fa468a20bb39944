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
 * Runs a test's body in a process of its own, which has a Factory of its own: the expectations of the body are the
 * test's. What the process writes to standard error, its exit included, must match the pattern.
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

/** Whether the body returns true in a process of its own, which ends at once. */
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
