/* SPDX-License-Identifier: MIT */
/* A function with a data race, which the thread sanitizer must report when two threads call it. */
#include <sched.h>

static int arrived;
static int counter;

/* Waits for the other thread. The waiting does not order the accesses of the threads. */
int count(void) {
    __atomic_fetch_add(&arrived, 1, __ATOMIC_RELAXED);
    while (__atomic_load_n(&arrived, __ATOMIC_RELAXED) < 2) {
        sched_yield();
    }
    return ++counter;
}
