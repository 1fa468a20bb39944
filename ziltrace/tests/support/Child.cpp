// SPDX-License-Identifier: MIT
#include "support/Child.h"

#include <array>
#include <cstdio>
#include <cstdlib>
#include <stdexcept>

#include <sys/wait.h>
#include <unistd.h>

namespace {

constexpr unsigned hangSeconds = 60;

pid_t forkOrThrow() {
    std::fflush(nullptr);
    const pid_t child = fork();
    if (child == -1) {
        throw std::runtime_error("fork failed");
    }
    return child;
}

std::string readAll(int descriptor) {
    std::string content;
    std::array<char, 4096> buffer{};
    for (ssize_t count; (count = read(descriptor, buffer.data(), buffer.size())) > 0;) {
        content.append(buffer.data(), static_cast<std::size_t>(count));
    }
    return content;
}

} // namespace

ChildResult runInChild(const std::function<void()>& body) {
    std::array<int, 2> ends{};
    if (pipe(ends.data()) == -1) {
        throw std::runtime_error("pipe failed");
    }
    const pid_t child = forkOrThrow();
    if (child == 0) {
        alarm(hangSeconds);
        dup2(ends[1], STDERR_FILENO);
        close(ends[0]);
        close(ends[1]);
        body();
        std::exit(0);
    }
    close(ends[1]);
    const std::string errorOutput = readAll(ends[0]);
    close(ends[0]);
    return {exitCodeOf(child), errorOutput};
}

pid_t forkChild(const std::function<int()>& body) {
    const pid_t child = forkOrThrow();
    if (child == 0) {
        alarm(hangSeconds);
        _exit(body());
    }
    return child;
}

int exitCodeOf(pid_t child) {
    int status = 0;
    waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}
