/* SPDX-License-Identifier: MIT */
/* A C99 program that uses every function of the C interface on a device of each width. The devices are files, which the
 * program makes in the working folder. */

#define _POSIX_C_SOURCE 200809L

#include <rynvel.h>

#include <signal.h>
#include <stdio.h>
#include <string.h>
#include <sys/wait.h>
#include <unistd.h>

static int failures = 0;

static void expect(int condition, const char* text, int line) {
    if (!condition) {
        fprintf(stderr, "line %d: expected %s\n", line, text);
        ++failures;
    }
}

#define EXPECT(condition) expect((condition), #condition, __LINE__)

static void makeRegisterFile(const char* name) {
    static const char zeros[256];
    FILE* file = fopen(name, "wb");
    EXPECT(file != NULL && fwrite(zeros, sizeof zeros, 1, file) == 1);
    if (file != NULL) {
        fclose(file);
    }
}

static void use8Bits(int handle) {
    uint8_t value = 0;
    uint8_t values[4] = {1, 2, 3, 4};
    EXPECT(Rynvel_write8(handle, 5, 0xA5) == 0);
    EXPECT(Rynvel_writeBitmask8(handle, 5, 0x0F, 0x0F) == 0);
    EXPECT(Rynvel_read8(handle, 5, &value) == 0 && value == 0xAF);
    EXPECT(Rynvel_burstWrite8(handle, 16, values, 4) == 0);
    memset(values, 0, sizeof values);
    EXPECT(Rynvel_burstRead8(handle, 16, values, 4) == 0 && values[3] == 4);
}

/* A seekable device reports a complete burst of more than 8 bits as failed, so the test also compares the values. */
static void use16Bits(int handle) {
    uint16_t value = 0;
    uint16_t values[2] = {0x0102, 0x0304};
    EXPECT(Rynvel2_write16(handle, 4, 0xA5B6) == 0);
    EXPECT(Rynvel2_writeBitmask16(handle, 4, 0x000F, 0x000F) == 0);
    EXPECT(Rynvel2_read16(handle, 4, &value) == 0 && value == 0xA5BF);
    EXPECT(Rynvel_write16(handle, 8, 0x1234) == 0);
    EXPECT(Rynvel_writeBitmask16(handle, 8, 0xF000, 0xF000) == 0);
    EXPECT(Rynvel_read16(handle, 8, &value) == 0 && value == 0xF234);
    EXPECT(Rynvel2_burstWrite16(handle, 16, values, 2, 1) == -1);
    EXPECT(Rynvel2_burstRead16(handle, 16, values, 2, 0) == -1 && values[0] == 0x0201);
    EXPECT(Rynvel_burstWrite16(handle, 64, values, 2, 0) == -1);
    EXPECT(Rynvel_burstRead16(handle, 64, values, 2, 1) == -1 && values[1] == 0x0304);
}

static void use32Bits(int handle) {
    uint32_t value = 0;
    uint32_t values[2] = {0x01020304, 0x05060708};
    EXPECT(Rynvel2_write32(handle, 4, 0xA5B6C7D8) == 0);
    EXPECT(Rynvel2_writeBitmask32(handle, 4, 0x0000000F, 0x0000000F) == 0);
    EXPECT(Rynvel2_read32(handle, 4, &value) == 0 && value == 0xA5B6C7DF);
    EXPECT(Rynvel_write32(handle, 32, 0x12345678) == 0);
    EXPECT(Rynvel_writeBitmask32(handle, 32, 0xF0000000, 0xF0000000) == 0);
    EXPECT(Rynvel_read32(handle, 32, &value) == 0 && value == 0xF2345678);
    EXPECT(Rynvel2_burstWrite32(handle, 16, values, 2, 1) == -1);
    EXPECT(Rynvel2_burstRead32(handle, 16, values, 2, 0) == -1 && values[0] == 0x04030201);
    EXPECT(Rynvel_burstWrite32(handle, 256 - 64, values, 2, 0) == -1);
    EXPECT(Rynvel_burstRead32(handle, 256 - 64, values, 2, 1) == -1 && values[1] == 0x05060708);
}

static void useWithoutWidth(int handle) {
    unsigned long info = 5;
    EXPECT(Rynvel_getFileDescriptor(handle) > 2);
    EXPECT(Rynvel_ioctl(handle, 0, 0) == -1);
    EXPECT(Rynvel_getInterruptType(handle, &info) == -1);
    EXPECT(Rynvel_enableInterrupts(handle) == -1);
    EXPECT(Rynvel_disableInterrupts(handle) == -1);
    EXPECT(Rynvel_receiveInterrupts(handle, &info) == -1 && info == 5);
    Rynvel_close(handle);
    EXPECT(Rynvel_getFileDescriptor(handle) > 2);
}

/* A C program cannot catch the exception, so the exception ends the process. */
static void openNull(void) {
    int status = 0;
    const pid_t child = fork();
    if (child == 0) {
        Rynvel_open(NULL);
        _exit(0);
    }
    EXPECT(waitpid(child, &status, 0) == child && WIFSIGNALED(status) && WTERMSIG(status) == SIGABRT);
}

int main(void) {
    openNull();
    makeRegisterFile("registers8");
    makeRegisterFile("registers16");
    makeRegisterFile("registers32");
    EXPECT(Rynvel_open("no such device") == -1);
    EXPECT(Rynvel_open("file8") == 5);
    EXPECT(Rynvel_open2("file16") == 6);
    EXPECT(Rynvel_open("file32") == 7);
    use8Bits(5);
    use16Bits(6);
    use32Bits(7);
    useWithoutWidth(5);
    return failures == 0 ? 0 : 1;
}
