/* SPDX-License-Identifier: MIT */
#define _GNU_SOURCE
#include "device_test.h"

#include <errno.h>
#include <fcntl.h>
#include <poll.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#define LIMIT_MS 5000
#define TAINTED_BY_WARNING (1 << 9)

static bool all_passed = true;

void check(const char* name, bool passed) {
    printf("%s: %s\n", passed ? "passed" : "FAILED", name);
    fflush(stdout);
    all_passed = all_passed && passed;
}

int exit_status(void) { return all_passed ? 0 : 1; }

static int open_or_exit(const char* path, int flags) {
    int fd = open(path, flags);
    if (fd == -1) {
        perror(path);
        exit(2);
    }
    return fd;
}

int open_device(const char* path) { return open_or_exit(path, O_RDWR); }

static int open_test_file_for(const char* device, const char* file, int flags) {
    char path[256];
    snprintf(path, sizeof path, "/sys/kernel/debug/rynvel_board/%s/%s", strrchr(device, '/') + 1, file);
    return open_or_exit(path, flags);
}

int open_test_file(const char* device, const char* file) { return open_test_file_for(device, file, O_RDWR); }

bool set(const char* device, const char* file, const char* text) {
    int fd = open_test_file_for(device, file, O_WRONLY);
    bool done = write(fd, text, strlen(text)) == (ssize_t)strlen(text);
    close(fd);
    return done;
}

bool get_text(const char* device, const char* file, char* text, size_t size) {
    int fd = open_test_file_for(device, file, O_RDONLY);
    ssize_t length = read(fd, text, size - 1);
    close(fd);
    text[length > 0 ? length : 0] = '\0';
    return length > 0;
}

long get(const char* device, const char* file) {
    char text[64];
    return get_text(device, file, text, sizeof text) ? strtol(text, NULL, 10) : -1;
}

bool becomes(const char* device, const char* file, long value) {
    long end = milliseconds() + LIMIT_MS;
    while (get(device, file) != value && milliseconds() < end)
        pause_ms(1);
    return get(device, file) == value;
}

bool fails_with(long result, int error) { return result == -1 && errno == error; }

void* map_registers(int fd, size_t size) {
    void* start = mmap(NULL, size, PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
    return start == MAP_FAILED ? NULL : start;
}

bool is_readable(int fd, int timeout_ms) {
    struct pollfd entry = {fd, POLLIN, 0};
    return poll(&entry, 1, timeout_ms) == 1 && entry.revents == POLLIN;
}

long milliseconds(void) {
    struct timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return now.tv_sec * 1000 + now.tv_nsec / 1000000;
}

void pause_ms(int duration) { poll(NULL, 0, duration); }

pid_t raise_after(int duration_ms, const char* device, const char* text) {
    pid_t child = fork();
    if (child == 0) {
        pause_ms(duration_ms);
        _exit(set(device, "raise", text) ? 0 : 1);
    }
    return child;
}

bool ended_well(pid_t child) {
    int status;
    return waitpid(child, &status, 0) == child && status == 0;
}

void check_kernel_warnings(void) {
    char text[32] = "";
    int fd = open("/proc/sys/kernel/tainted", O_RDONLY);
    bool found = read(fd, text, sizeof text - 1) > 0;
    close(fd);
    check("the kernel has not issued a warning", found && !(strtoul(text, NULL, 10) & TAINTED_BY_WARNING));
}
