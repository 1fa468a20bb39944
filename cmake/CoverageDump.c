/* SPDX-License-Identifier: MIT */
/* Writes the coverage counts of a program or library also when SIGABRT, raise() or _exit() ends the process, and when
 * the size of files is limited. Each program and library of a process has its own copy of this code and its own
 * counts. */

#include <signal.h>
#include <stddef.h>
#include <sys/resource.h>

void __gcov_dump(void);
void __gcov_reset(void);
int __real_raise(int number);
void __real__exit(int status) __attribute__((noreturn));

static struct sigaction before;

/* Each copy calls the handler that it has replaced. */
static void dump(int number) {
    __gcov_dump();
    sigaction(number, &before, NULL);
    if (before.sa_handler != SIG_DFL && before.sa_handler != SIG_IGN) {
        before.sa_handler(number);
    }
}

__attribute__((constructor)) static void installHandler(void) {
    struct sigaction handler;
    handler.sa_handler = dump;
    handler.sa_flags = 0;
    sigemptyset(&handler.sa_mask);
    sigaction(SIGABRT, &handler, &before);
}

/* Runs before libgcov writes the counts at the end of the process. A test may have limited the size of files. */
__attribute__((destructor)) static void allowLargeFiles(void) {
    struct rlimit limit;
    getrlimit(RLIMIT_FSIZE, &limit);
    limit.rlim_cur = limit.rlim_max;
    setrlimit(RLIMIT_FSIZE, &limit);
}

/* The linker replaces the calls of raise() and _exit() by calls of the following functions. */

/* The signal may stop the process instead of ending it. Without the reset, libgcov would not write the counts again
 * when the process ends. */
int __wrap_raise(int number) {
    __gcov_dump();
    __gcov_reset();
    return __real_raise(number);
}

__attribute__((noreturn)) void __wrap__exit(int status) {
    __gcov_dump();
    __real__exit(status);
}
