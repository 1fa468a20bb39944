/* SPDX-License-Identifier: MIT */
/*
 * Replaces pthread_mutex_clocklock() with pthread_mutex_timedlock(), because the thread sanitizer of GCC 12 intercepts
 * only the latter. Load this library with LD_PRELOAD.
 */
#define _GNU_SOURCE
#include <pthread.h>
#include <time.h>

static const long second = 1000000000;

static struct timespec sum(struct timespec a, struct timespec b) {
    a.tv_sec += b.tv_sec;
    a.tv_nsec += b.tv_nsec;
    if (a.tv_nsec >= second) {
        a.tv_sec += 1;
        a.tv_nsec -= second;
    }
    return a;
}

static struct timespec difference(struct timespec a, struct timespec b) {
    const struct timespec complement = {-b.tv_sec - 1, second - b.tv_nsec};
    return sum(a, complement);
}

int pthread_mutex_clocklock(pthread_mutex_t* mutex, clockid_t clock, const struct timespec* end) {
    struct timespec now;
    struct timespec real;
    clock_gettime(clock, &now);
    clock_gettime(CLOCK_REALTIME, &real);
    const struct timespec real_end = sum(real, difference(*end, now));
    return pthread_mutex_timedlock(mutex, &real_end);
}
