/* SPDX-License-Identifier: MIT */
#ifndef ZILTRACE_TESTS_CHILD_H
#define ZILTRACE_TESTS_CHILD_H

#include <functional>
#include <string>

#include <sys/types.h>

struct ChildResult {
    int exitCode; /**< -1 if a signal ended the process */
    std::string errorOutput;
};

/** Runs `body` in a forked process, which then exits and runs its exit handlers. Collects its standard error. */
ChildResult runInChild(const std::function<void()>& body);

/**
 * Runs `body` in a forked process, which exits with the status that `body` returns, without exit handlers. An alarm
 * ends a process that hangs.
 */
pid_t forkChild(const std::function<int()>& body);

/** Waits until a child has ended. Returns its exit status, or -1 if a signal ended it. */
int exitCodeOf(pid_t child);

#endif
