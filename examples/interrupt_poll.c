/* SPDX-License-Identifier: MIT */
/* Waits for an interrupt of the real-time clock with a time-out: enables, polls for and receives the interrupt. */

#define _POSIX_C_SOURCE 200809L

#include <rynvel.h>

#include <poll.h>
#include <stdio.h>

/* The register indexes of the clock. */
enum { COUNTER = 0, MATCH = 1, INTERRUPT_MASK = 4, INTERRUPT_CLEAR = 7 };
enum { TIMEOUT_MILLISECONDS = 500, MOST_TIMEOUTS = 20 };

/* Makes the clock raise an interrupt after two seconds. Returns whether all operations have succeeded. */
static int setAlarm(int clock) {
    uint32_t now = 0;
    return Rynvel2_write32(clock, INTERRUPT_CLEAR, 1) == 0 && Rynvel2_read32(clock, COUNTER, &now) == 0 &&
           Rynvel2_write32(clock, MATCH, now + 2) == 0 && Rynvel2_write32(clock, INTERRUPT_MASK, 1) == 0;
}

static int pollUntilReady(int clock) {
    struct pollfd descriptor = {Rynvel_getFileDescriptor(clock), POLLIN, 0};
    int timeouts;
    for (timeouts = 0; timeouts < MOST_TIMEOUTS; ++timeouts) {
        const int ready = poll(&descriptor, 1, TIMEOUT_MILLISECONDS);
        if (ready != 0) {
            return ready == 1 && (descriptor.revents & POLLIN) != 0;
        }
        printf("  no interrupt within %d ms: the program can do other work now\n", (int)TIMEOUT_MILLISECONDS);
        fflush(stdout);
    }
    return 0;
}

int main(void) {
    const int clock = Rynvel_open("rtc0");
    unsigned long count = 0;
    if (clock == -1 || !setAlarm(clock) || Rynvel_enableInterrupts(clock) != 0) {
        fprintf(stderr,
                "interrupt_poll: rtc0: opening the device, setting the alarm or enabling the interrupt failed\n");
        return 1;
    }
    printf("polling the descriptor of rtc0 for an interrupt\n");
    /* Rynvel_receiveInterrupts() enables the interrupt again, so clear the source of the interrupt first. */
    if (!pollUntilReady(clock) || Rynvel2_write32(clock, INTERRUPT_CLEAR, 1) != 0 ||
        Rynvel_receiveInterrupts(clock, &count) != 0) {
        fprintf(stderr, "interrupt_poll: rtc0: no interrupt arrived, or clearing or receiving it failed\n");
        return 1;
    }
    printf("  received interrupt number %lu\n", count);
    return Rynvel2_write32(clock, INTERRUPT_MASK, 0) == 0 ? 0 : 1;
}
