/* SPDX-License-Identifier: MIT */
/* Opens two devices by name, and accesses their registers: one at a time, under a mask, and in bursts. */

#include <rynvel.h>

#include <stdio.h>

#define COUNT(array) ((unsigned int)(sizeof(array) / sizeof((array)[0])))

/* Reports a failed operation. Returns whether the operation has succeeded. */
static int done(const char* operation, int result) {
    if (result != 0) {
        fprintf(stderr, "registers: %s failed\n", operation);
    }
    return result == 0;
}

static int openDevice(const char* name) {
    const int handle = Rynvel_open(name);
    if (handle == -1) {
        fprintf(stderr, "registers: unknown device '%s'\n", name);
    } else {
        printf("%s is handle %d, file descriptor %d\n", name, handle, Rynvel_getFileDescriptor(handle));
    }
    return handle;
}

static int single(int handle) {
    uint8_t value = 0;
    if (!done("read", Rynvel_read8(handle, 0x10, &value))) {
        return 0;
    }
    printf("  register 0x10 holds 0x%02x\n", (unsigned int)value);
    if (!done("write", Rynvel_write8(handle, 0x10, 0xA5)) || !done("read", Rynvel_read8(handle, 0x10, &value))) {
        return 0;
    }
    printf("  register 0x10 holds 0x%02x after writing 0xa5\n", (unsigned int)value);
    return 1;
}

static int masked(int handle) {
    uint8_t value = 0;
    if (!done("masked write", Rynvel_writeBitmask8(handle, 0x10, 0x0C, 0x0F)) ||
        !done("read", Rynvel_read8(handle, 0x10, &value))) {
        return 0;
    }
    printf("  register 0x10 holds 0x%02x after writing 0x0c under the mask 0x0f\n", (unsigned int)value);
    return 1;
}

static int burst(int handle) {
    const uint8_t message[] = {'r', 'y', 'n', 'v', 'e', 'l'};
    uint8_t values[COUNT(message)] = {0};
    unsigned int i;
    if (!done("burst write", Rynvel_burstWrite8(handle, 0x20, message, COUNT(message))) ||
        !done("burst read", Rynvel_burstRead8(handle, 0x20, values, COUNT(values)))) {
        return 0;
    }
    printf("  registers 0x20 to 0x%02x hold", 0x20 + COUNT(values) - 1);
    for (i = 0; i < COUNT(values); ++i) {
        printf(" %02x", (unsigned int)values[i]);
    }
    printf(" after one burst\n");
    return 1;
}

int main(void) {
    const char* const names[] = {"common.spi.0.0", "common.i2c.0"};
    unsigned int i;
    /* Line buffering keeps the output in the right order with the traces on standard error. */
    setvbuf(stdout, NULL, _IOLBF, 0);
    for (i = 0; i < COUNT(names); ++i) {
        const int handle = openDevice(names[i]);
        if (handle == -1 || !single(handle) || !masked(handle) || !burst(handle)) {
            return 1;
        }
    }
    return 0;
}
