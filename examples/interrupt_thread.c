/* SPDX-License-Identifier: MIT */
/* Waits for interrupts of the real-time clock in one thread, while another thread writes registers of a device. */

#include <rynvel.h>

#include <pthread.h>
#include <stdatomic.h>
#include <stdio.h>

/* The register indexes of the clock. */
enum { COUNTER = 0, MATCH = 1, INTERRUPT_MASK = 4, INTERRUPT_CLEAR = 7 };
enum { INTERRUPTS = 3 };

static atomic_int interruptsLeft = INTERRUPTS;
static atomic_int failed = 0;

/* Reports a failure, and ends the loops of both threads. */
static void fail(const char* what) {
    fprintf(stderr, "interrupt_thread: %s failed\n", what);
    failed = 1;
    interruptsLeft = 0;
}

/* Makes the clock raise an interrupt after one second. Returns whether all operations have succeeded. */
static int setAlarm(int clock) {
    uint32_t now = 0;
    return Rynvel2_write32(clock, INTERRUPT_CLEAR, 1) == 0 && Rynvel2_read32(clock, COUNTER, &now) == 0 &&
           Rynvel2_write32(clock, MATCH, now + 1) == 0 && Rynvel2_write32(clock, INTERRUPT_MASK, 1) == 0;
}

static void* receiveInterrupts(void* argument) {
    const int clock = *(const int*)argument;
    while (interruptsLeft > 0) {
        unsigned long count = 0;
        if (!setAlarm(clock) || Rynvel_receiveInterrupts(clock, &count) != 0) {
            fail("rtc0: setting the alarm or receiving the interrupt");
            return NULL;
        }
        printf("  received interrupt number %lu of the clock\n", count);
        fflush(stdout);
        --interruptsLeft;
    }
    return NULL;
}

/* Writes a count to the low byte of a register until all interrupts have arrived. Returns the number of writes. */
static unsigned long workOnRegisters(int device) {
    unsigned long writes = 0;
    if (Rynvel_write32(device, 0x10, 0xABCDEF00) != 0) {
        fail("traf.top: a write");
    }
    for (; interruptsLeft > 0; ++writes) {
        if (Rynvel_writeBitmask32(device, 0x10, (uint32_t)writes, 0x000000FF) != 0) {
            fail("traf.top: a masked write");
        }
    }
    return writes;
}

int main(void) {
    int clock = Rynvel_open("rtc0");
    const int device = Rynvel_open("traf.top");
    pthread_t receiver;
    uint32_t value = 0;
    if (clock == -1 || device == -1 || pthread_create(&receiver, NULL, receiveInterrupts, &clock) != 0) {
        fprintf(stderr, "interrupt_thread: cannot open rtc0 or traf.top, or cannot create a thread\n");
        return 1;
    }
    printf("waiting for %d interrupts of rtc0 while the main thread writes to traf.top\n", (int)INTERRUPTS);
    printf("  %s masked writes until the last interrupt\n", workOnRegisters(device) > 1000 ? "thousands of" : "few");
    pthread_join(receiver, NULL);
    if (Rynvel2_write32(clock, INTERRUPT_MASK, 0) != 0 || Rynvel_read32(device, 0x10, &value) != 0) {
        fail("rtc0 or traf.top: the last operation");
    }
    printf("  register 0x10 of traf.top holds 0x%08lx\n", (unsigned long)value);
    return failed;
}
