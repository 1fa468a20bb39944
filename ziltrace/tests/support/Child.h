#ifndef ZILTRACE_TESTS_CHILD_H
#define ZILTRACE_TESTS_CHILD_H

#include <functional>
#include <string>

#include <sys/types.h>

struct ChildResult {
    int exitCode; ///< -1 when a signal ended it
    std::string errorOutput;
};

/// Runs `body` in a forked process, which then exits with all exit handlers, and collects its standard error.
ChildResult runInChild(const std::function<void()>& body);

/// Forks a process that leaves with the code that `body` returns, at once and without exit handlers. An alarm ends it
/// when it hangs.
pid_t forkChild(const std::function<int()>& body);

/// Waits for the end of a child and returns its exit code, or -1 when a signal ended it.
int exitCodeOf(pid_t child);

#endif
