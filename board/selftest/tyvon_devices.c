/* SPDX-License-Identifier: MIT */
/* Tests the Tyvon devices of the board. Runs in the guest. The arguments are the paths of tyvon_map and tyvon_seek. */
#define _GNU_SOURCE
#include <errno.h>
#include <fcntl.h>
#include <pthread.h>
#include <signal.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <unistd.h>

#include "device_test.h"

#define SIZE 4096
#define LIMIT_SECONDS 60
#define SHORT_MS 100
#define LONG_MS 5000
#define ROUNDS 300
#define ENABLE 0xEE00
#define DISABLE 0xEE01
#define GET_TYPE 0xEE02

/* A thread that waits for one interrupt. */
struct waiter {
    int fd;
    pthread_t thread;
    ssize_t result;
    int error;
    uint16_t status;
};

static bool enable(int fd) { return ioctl(fd, ENABLE) == 0; }

static bool disable(int fd) { return ioctl(fd, DISABLE) == 0; }

static bool receives(int fd, uint16_t wanted) {
    uint16_t status = ~wanted;
    return read(fd, &status, sizeof status) == sizeof status && status == wanted;
}

static void* wait_once(void* argument) {
    struct waiter* waiter = argument;
    waiter->result = read(waiter->fd, &waiter->status, sizeof waiter->status);
    waiter->error = errno;
    return NULL;
}

/* Starts a waiter. Returns true when its wait has begun, or false if the wait has not begun within 5 seconds. */
static bool start(struct waiter* waiter, const char* path, int fd) {
    long waits = get(path, "wait/calls");
    *waiter = (struct waiter){.fd = fd};
    return pthread_create(&waiter->thread, NULL, wait_once, waiter) == 0 && becomes(path, "wait/calls", waits + 1);
}

static bool ends_within(struct waiter* waiter, int duration_ms) {
    struct timespec end;
    clock_gettime(CLOCK_REALTIME, &end);
    end.tv_nsec += duration_ms % 1000 * 1000000;
    end.tv_sec += duration_ms / 1000 + end.tv_nsec / 1000000000;
    end.tv_nsec %= 1000000000;
    return pthread_timedjoin_np(waiter->thread, NULL, &end) == 0;
}

static bool ends_with(struct waiter* waiter, uint16_t status) {
    return ends_within(waiter, LONG_MS) && waiter->result == sizeof waiter->status && waiter->status == status;
}

static void test_fresh(const char* path) {
    uint8_t bytes[SIZE], zeros[SIZE] = {0};
    int fd = open_device(path), beside = open_test_file(path, "registers");
    check("the registers are initially 0, and the interrupt is disabled",
          read(beside, bytes, SIZE) == SIZE && memcmp(bytes, zeros, SIZE) == 0 && read(beside, bytes, 1) == 0 &&
              get(path, "enabled") == 0 && get(path, "pending") == 0 && get(path, "request") == 0);
    close(beside);
    close(fd);
}

static void test_requests(const char* path) {
    int fd = open_device(path);
    unsigned long type = 99;
    bool reset = set(path, "ioctl/calls", "0");
    check("an interrupt can be enabled", enable(fd) && get(path, "enabled") == 1 && get(path, "request") == ENABLE);
    check("an interrupt can be disabled", disable(fd) && get(path, "enabled") == 0 && get(path, "request") == DISABLE);
    check("the type of an interrupt can be read",
          ioctl(fd, GET_TYPE, &type) == 0 && type == 1 && get(path, "request") == GET_TYPE);
    check("a write to the test file sets the type",
          set(path, "type", "4000000000") && ioctl(fd, GET_TYPE, &type) == 0 && type == 4000000000);
    check("a request for the type fails with EFAULT if the type cannot be stored",
          fails_with(ioctl(fd, GET_TYPE, NULL), EFAULT));
    check("an unknown request fails with ENOTTY", fails_with(ioctl(fd, 0xEE03, &type), ENOTTY) &&
                                                      get(path, "request") == 0xEE03 &&
                                                      fails_with(ioctl(fd, 0xED00), ENOTTY));
    check("requests are counted", reset && get(path, "ioctl/calls") == 7);
    set(path, "type", "1");
    close(fd);
}

static void test_forced_requests(const char* path) {
    int fd = open_device(path);
    unsigned long type = 99;
    disable(fd);
    check("the next request can be made to fail",
          set(path, "ioctl/force", "1 -5") && fails_with(ioctl(fd, ENABLE), EIO) && get(path, "enabled") == 0);
    check("the next requests can be made to return a number",
          set(path, "ioctl/force", "2 5") && ioctl(fd, ENABLE) == 5 && ioctl(fd, GET_TYPE, &type) == 5 && type == 99 &&
              get(path, "enabled") == 0 && get(path, "request") == GET_TYPE);
    check("a request can be made to do nothing",
          set(path, "ioctl/force", "1 0") && enable(fd) && get(path, "enabled") == 0);
    check("requests work again after the forced results", enable(fd) && get(path, "enabled") == 1 && disable(fd));
    close(fd);
}

static void test_delivery(const char* path) {
    int fd = open_device(path);
    check("an enabled interrupt is delivered with its interrupt word", enable(fd) && !is_readable(fd, 0) &&
                                                                           set(path, "raise", "0xabcd") &&
                                                                           is_readable(fd, 0) && receives(fd, 0xABCD));
    check("the interrupt is delivered once", !is_readable(fd, 0) && get(path, "pending") == 0);
    check("the interrupt stays enabled", get(path, "enabled") == 1 && set(path, "raise", "0") && receives(fd, 0));
    check("if several interrupts are pending, the last one is delivered",
          set(path, "raise", "1") && set(path, "raise", "2") && receives(fd, 2) && !is_readable(fd, 0));
    check("an invalid interrupt word is refused",
          !set(path, "raise", "0x10000") && !set(path, "raise", "nonsense") && get(path, "pending") == 0);
    disable(fd);
    close(fd);
}

static void test_pending(const char* path) {
    int fd = open_device(path);
    check("an interrupt that is raised while disabled is not delivered",
          disable(fd) && set(path, "raise", "0x1234") && get(path, "pending") == 1 && !is_readable(fd, SHORT_MS));
    check("the pending interrupt is delivered when the interrupt is enabled",
          enable(fd) && is_readable(fd, 0) && receives(fd, 0x1234));
    check("disabling a pending interrupt delays its delivery until the interrupt is enabled",
          set(path, "raise", "7") && disable(fd) && !is_readable(fd, 0) && enable(fd) && receives(fd, 7));
    disable(fd);
    close(fd);
}

static void test_blocking(const char* path) {
    struct waiter waiter;
    int fd = open_device(path);
    bool waits = enable(fd) && start(&waiter, path, fd) && !ends_within(&waiter, SHORT_MS);
    check("an interrupt read blocks until the interrupt",
          waits && set(path, "raise", "0xabcd") && ends_with(&waiter, 0xABCD));
    waits = disable(fd) && start(&waiter, path, fd) && set(path, "raise", "0xbeef") && !ends_within(&waiter, SHORT_MS);
    check("an interrupt read continues to block while the interrupt is disabled",
          waits && enable(fd) && ends_with(&waiter, 0xBEEF));
    disable(fd);
    close(fd);
}

static void test_several(const char* path) {
    struct waiter first, second;
    int fd = open_device(path), other = open_device(path);
    bool waits = enable(fd) && start(&first, path, fd) && start(&second, path, other);
    bool one = set(path, "raise", "1") && becomes(path, "pending", 0);
    pause_ms(SHORT_MS);
    check("one of two waiting threads receives the interrupt",
          waits && one && (first.result == 2) + (second.result == 2) == 1);
    set(path, "raise", "2");
    check("the other thread receives the next interrupt", ends_within(&first, LONG_MS) &&
                                                              ends_within(&second, LONG_MS) && first.result == 2 &&
                                                              second.result == 2 && first.status + second.status == 3);
    disable(fd);
    close(fd);
    close(other);
}

static void test_poll(const char* path) {
    int fd = open_device(path);
    enable(fd);
    long begin = milliseconds();
    check("poll waits for its time-out", !is_readable(fd, SHORT_MS) && milliseconds() - begin >= SHORT_MS);
    pid_t child = raise_after(SHORT_MS, path, "3");
    begin = milliseconds();
    bool became_ready = is_readable(fd, LONG_MS);
    check("poll ends with the interrupt", became_ready && milliseconds() - begin < LONG_MS / 2 && ended_well(child));
    check("poll reports the interrupt until the interrupt word is read",
          is_readable(fd, 0) && receives(fd, 3) && !is_readable(fd, 0));
    fcntl(fd, F_SETFL, O_NONBLOCK);
    uint16_t status;
    check("a non-blocking interrupt read fails with EAGAIN", fails_with(read(fd, &status, 2), EAGAIN));
    disable(fd);
    close(fd);
}

static void test_forced_waits(const char* path) {
    int fd = open_device(path);
    uint8_t bytes[2] = {0xff, 0xff};
    bool counted = set(path, "wait/calls", "0") && enable(fd) && set(path, "raise", "0xabcd");
    check("the next interrupt reads can be made to fail, and the interrupt stays pending",
          set(path, "wait/force", "2 -5") && fails_with(read(fd, bytes, 2), EIO) &&
              fails_with(read(fd, bytes, 2), EIO) && get(path, "pending") == 1);
    check("an interrupt read can be made to return 0 bytes, and the interrupt stays pending",
          set(path, "wait/force", "1 0") && read(fd, bytes, 2) == 0 && get(path, "pending") == 1);
    check("an interrupt read can be made to return one byte, and the interrupt is no longer pending",
          set(path, "wait/force", "1 1") && read(fd, bytes, 2) == 1 && bytes[0] == 0xcd && bytes[1] == 0xff &&
              get(path, "pending") == 0);
    check("interrupt reads that are made to fail or to return 0 bytes do not wait",
          set(path, "wait/force", "1 -71") && fails_with(read(fd, bytes, 2), EPROTO) &&
              set(path, "wait/force", "1 0") && read(fd, bytes, 2) == 0);
    check("interrupt reads are counted",
          set(path, "raise", "5") && receives(fd, 5) && counted && get(path, "wait/calls") == 7);
    disable(fd);
    close(fd);
}

static void ignore_signal(int number) { (void)number; }

static void test_signal(const char* path) {
    struct waiter waiter;
    struct sigaction action = {.sa_handler = ignore_signal};
    int fd = open_device(path);
    sigaction(SIGUSR1, &action, NULL);
    bool waits = start(&waiter, path, fd) && !ends_within(&waiter, SHORT_MS);
    pthread_kill(waiter.thread, SIGUSR1);
    check("a signal ends an interrupt read",
          waits && ends_within(&waiter, LONG_MS) && waiter.result == -1 && waiter.error == EINTR);
    close(fd);
}

static void test_common(const char* path) {
    printf("(%s)\n", path);
    test_fresh(path);
    test_requests(path);
    test_forced_requests(path);
    test_delivery(path);
    test_pending(path);
    test_blocking(path);
    test_several(path);
    test_poll(path);
    test_forced_waits(path);
    test_signal(path);
}

static void test_mapping(const char* path) {
    int fd = open_device(path), beside = open_test_file(path, "registers");
    volatile uint32_t* words = map_registers(fd, SIZE);
    if (!words) {
        perror(path);
        exit(2);
    }
    volatile uint16_t* halves = (volatile uint16_t*)words;
    uint32_t value = 0;
    words[0x100 / 4] = 0xcafe0001;
    check("the test file shows the mapped registers", pread(beside, &value, 4, 0x100) == 4 && value == 0xcafe0001);
    value = 0xcafe0002;
    check("a write to the test file changes the mapped registers",
          pwrite(beside, &value, 4, SIZE - 4) == 4 && words[SIZE / 4 - 1] == 0xcafe0002);
    halves[0x200 / 2] = 0x1111;
    halves[0x202 / 2] = 0x2222;
    check("16-bit registers are the halves of 32-bit registers", words[0x200 / 4] == 0x22221111);
    check("a mapping of more than the page fails with EINVAL", !map_registers(fd, 2 * SIZE) && errno == EINVAL);
    check("interrupt reads of sizes other than 2 bytes fail with EINVAL",
          fails_with(read(fd, &value, 1), EINVAL) && fails_with(read(fd, &value, 4), EINVAL));
    check("lseek fails with ESPIPE", fails_with(lseek(fd, 0, SEEK_SET), ESPIPE));
    munmap((void*)words, SIZE);
    close(beside);
    close(fd);
}

static bool write_at(int fd, off_t address, const void* data, size_t size) {
    return lseek(fd, address, SEEK_SET) == address && write(fd, data, size) == (ssize_t)size;
}

static bool reads_at(int fd, off_t address, const void* data, size_t size) {
    uint8_t found[16];
    return lseek(fd, address, SEEK_SET) == address && read(fd, found, size) == (ssize_t)size &&
           memcmp(found, data, size) == 0;
}

static void test_seeking(const char* path) {
    int fd = open_device(path), other = open_device(path), beside = open_test_file(path, "registers");
    uint32_t value = 0xcafe0003;
    check("32-bit registers can be written and read",
          write_at(fd, 0x100, &value, 4) && reads_at(other, 0x100, &value, 4));
    check("16-bit registers are the halves of 32-bit registers", reads_at(fd, 0x100, "\x03\x00", 2) &&
                                                                     reads_at(fd, 0x102, "\xfe\xca", 2) &&
                                                                     write_at(fd, 0x102, "\x11\x11", 2));
    check("the test file shows the registers", pread(beside, &value, 4, 0x100) == 4 && value == 0x11110003);
    check("a write to the test file changes the registers",
          pwrite(beside, "\x77\x88", 2, 0x104) == 2 && reads_at(fd, 0x104, "\x77\x88", 2));
    check("the position advances by the number of bytes transferred",
          lseek(fd, 0, SEEK_CUR) == 0x106 && lseek(fd, -2, SEEK_CUR) == 0x104 && lseek(other, 0, SEEK_CUR) == 0x104);
    check("a seek outside the page fails with EINVAL", fails_with(lseek(fd, SIZE + 1, SEEK_SET), EINVAL) &&
                                                           fails_with(lseek(fd, -1, SEEK_SET), EINVAL) &&
                                                           lseek(fd, 0, SEEK_CUR) == 0x104);
    check("a write at the end fails with ENOSPC, and a read returns 0 bytes",
          lseek(fd, 0, SEEK_END) == SIZE && fails_with(write(fd, "xx", 2), ENOSPC) && read(fd, &value, 4) == 0);
    check("pread and pwrite fail with ESPIPE",
          fails_with(pread(fd, &value, 2, 0), ESPIPE) && fails_with(pwrite(fd, &value, 2, 0), ESPIPE));
    close(beside);
    close(fd);
    close(other);
}

static void test_telling_apart(const char* path) {
    int fd = open_device(path);
    uint8_t bytes[4];
    enable(fd);
    check("an interrupt can be read after a register was read",
          write_at(fd, 0x200, "abcdefgh", 8) && reads_at(fd, 0x200, "ab", 2) && set(path, "raise", "0x1001") &&
              receives(fd, 0x1001));
    check("an interrupt can be read after a register was written",
          write_at(fd, 0x200, "AB", 2) && set(path, "raise", "0x1002") && receives(fd, 0x1002));
    check("interrupt reads do not change the position", lseek(fd, 0, SEEK_CUR) == 0x202);
    check("a read of a size other than 2 bytes needs no seek",
          reads_at(fd, 0x200, "ABcd", 4) && read(fd, bytes, 4) == 4 && memcmp(bytes, "efgh", 4) == 0 &&
              set(path, "raise", "0x1003") && receives(fd, 0x1003));
    set(path, "transfers_per_seek", "3");
    check("a seek can be made to apply to several reads of 2 bytes",
          reads_at(fd, 0x200, "AB", 2) && read(fd, bytes, 2) == 2 && memcmp(bytes, "cd", 2) == 0 &&
              read(fd, bytes, 2) == 2 && memcmp(bytes, "ef", 2) == 0 && set(path, "raise", "0x1004") &&
              receives(fd, 0x1004));
    set(path, "transfers_per_seek", "1");
    check("after a failed seek, a read of 2 bytes is an interrupt read",
          set(path, "seek/force", "1 -5") && fails_with(lseek(fd, 0x200, SEEK_SET), EIO) &&
              set(path, "raise", "0x1005") && receives(fd, 0x1005));
    disable(fd);
    close(fd);
}

static void test_register_calls(const char* path) {
    int fd = open_device(path);
    bool reset = set(path, "read/calls", "0") && set(path, "write/calls", "0") && set(path, "seek/calls", "0") &&
                 set(path, "wait/calls", "0");
    bool used = write_at(fd, 0x300, "abcd", 4) && reads_at(fd, 0x300, "ab", 2) && reads_at(fd, 0x300, "abcd", 4);
    check("register accesses are counted by kind", reset && used && get(path, "read/calls") == 2 &&
                                                       get(path, "write/calls") == 1 && get(path, "seek/calls") == 3 &&
                                                       get(path, "wait/calls") == 0);
    uint8_t bytes[4];
    lseek(fd, 0x300, SEEK_SET);
    check("register accesses can be made to fail or to be short",
          set(path, "read/force", "1 -5") && fails_with(read(fd, bytes, 2), EIO) && set(path, "write/force", "1 -6") &&
              fails_with(write(fd, "xx", 2), ENXIO) && set(path, "read/force", "1 3") && read(fd, bytes, 4) == 3 &&
              memcmp(bytes, "abc", 3) == 0);
    close(fd);
}

static void test_access_while_waiting(const char* path) {
    struct waiter waiter;
    int fd = open_device(path);
    bool waits = enable(fd) && start(&waiter, path, fd);
    bool accessed = true;
    for (uint16_t i = 0; i < ROUNDS; i++)
        accessed = write_at(fd, 0x400, &i, 2) && reads_at(fd, 0x400, &i, 2) && accessed;
    check("registers can be accessed while another thread waits on the same file",
          waits && accessed && !ends_within(&waiter, 0));
    check("the waiting thread receives its interrupt", set(path, "raise", "0xabcd") && ends_with(&waiter, 0xABCD));
    disable(fd);
    close(fd);
}

/* Tests a wait that begins and ends between the seek and the read of another thread. */
static void test_interleaving(const char* path) {
    struct waiter before, between;
    int fd = open_device(path);
    uint8_t bytes[2];
    write_at(fd, 0x500, "pq", 2);
    lseek(fd, 0x600, SEEK_SET);
    bool waits = enable(fd) && write(fd, "rs", 2) == 2 && start(&before, path, fd);
    bool received = lseek(fd, 0x500, SEEK_SET) == 0x500 && set(path, "raise", "1") && ends_with(&before, 1) &&
                    start(&between, path, fd) && set(path, "raise", "2") && ends_with(&between, 2);
    check("waits in other threads do not disturb a seek and the read that follows",
          waits && received && read(fd, bytes, 2) == 2 && memcmp(bytes, "pq", 2) == 0);
    disable(fd);
    close(fd);
}

int main(int argc, char** argv) {
    if (argc != 3)
        return 2;
    alarm(LIMIT_SECONDS);
    for (int i = 1; i < argc; i++)
        test_common(argv[i]);
    test_mapping(argv[1]);
    const char* path = argv[2];
    test_seeking(path);
    test_telling_apart(path);
    test_register_calls(path);
    test_access_while_waiting(path);
    test_interleaving(path);
    check_kernel_warnings();
    return exit_status();
}
