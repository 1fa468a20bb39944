/* SPDX-License-Identifier: MIT */
/* Writes the coverage counts of a program or library when SIGABRT ends the process, and when the program raises a
 * signal. Each program and library of a process has its own copy of this code and its own counts. */

#include <signal.h>
#include <stddef.h>

void __gcov_dump(void);
void __gcov_reset(void);
int __real_raise(int number);

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

/* The linker replaces the calls of raise(). The signal may stop the process instead of ending it. Without the reset,
 * libgcov would not write the counts again when the process ends. */
__attribute__((visibility("hidden"))) int __wrap_raise(int number) {
    __gcov_dump();
    __gcov_reset();
    return __real_raise(number);
}
