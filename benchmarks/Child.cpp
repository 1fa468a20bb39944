// SPDX-License-Identifier: MIT
#include "Child.h"

#include <csignal>

#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include "Require.h"

namespace RynvelBenchmark {

pid_t runInChild(const std::function<void()>& body) {
    const pid_t parent = getpid();
    const pid_t process = require(fork(), "fork");
    if (process == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        if (getppid() == parent) {
            body();
        }
        _exit(0);
    }
    return process;
}

Child::Child(const std::function<void()>& body) : m_process(runInChild(body)) {}

Child::~Child() {
    kill(m_process, SIGKILL);
    waitpid(m_process, nullptr, 0);
}

} // namespace RynvelBenchmark
