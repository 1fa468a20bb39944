/* SPDX-License-Identifier: MIT */
/* Writes the coverage counts of a program or library when SIGABRT ends the process. Each program and library of a
 * process has its own copy of this code and its own counts. Each copy calls the handler that it has replaced. */

#include <signal.h>
#include <stddef.h>

void __gcov_dump(void);

static struct sigaction before;

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
