/* SPDX-License-Identifier: MIT */
#ifndef ZILTRACE_TESTS_CHILD_H
#define ZILTRACE_TESTS_CHILD_H

#include <functional>
#include <string>

#include <sys/types.h>

struct ChildResult {
    int exitCode; /**< the exit status; -1 if a signal ended the child */
    std::string errorOutput;
};

/**
 * Runs `body` in a forked child, which then exits with status 0 and runs its exit handlers. Returns the exit status and
 * the standard error of the child. An alarm ends a child that hangs.
 */
ChildResult runInChild(const std::function<void()>& body);

/**
 * Runs `body` in a forked child, which exits with the status that `body` returns, and does not run exit handlers. An
 * alarm ends a child that hangs. Returns the process ID of the child.
 */
pid_t forkChild(const std::function<int()>& body);

/** Waits until the child has ended. Returns the exit status of the child; -1 if a signal ended the child. */
int exitCodeOf(pid_t child);

#endif
