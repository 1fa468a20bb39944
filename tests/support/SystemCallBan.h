/* SPDX-License-Identifier: MIT */
#ifndef RYNVEL_TESTS_SYSTEMCALLBAN_H
#define RYNVEL_TESTS_SYSTEMCALLBAN_H

#include <cstddef>

#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/syscall.h>

#include "ChildProcess.h"

namespace RynvelTest {

/** Makes the kernel kill this process at its next system call, except exit_group(). Returns false on failure. */
inline bool banSystemCalls() {
    sock_filter rules[] = {
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_exit_group, 0, 1),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_KILL_PROCESS),
    };
    const sock_fprog program{sizeof(rules) / sizeof(rules[0]), rules};
    return prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 && prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) == 0;
}

/** Returns whether the body returns true in a child process without making a system call. */
template <typename Body>
bool runsWithoutSystemCalls(Body body) {
    return succeedsInChildProcess([&body] { return banSystemCalls() && body(); });
}

} // namespace RynvelTest

#endif
