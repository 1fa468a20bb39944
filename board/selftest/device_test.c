#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include "device_test.h"

static bool all_passed = true;

void check(const char* name, bool passed) {
    printf("%s %s\n", passed ? "ok" : "FAILED", name);
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

long get(const char* device, const char* file) {
    char text[64] = "";
    int fd = open_test_file_for(device, file, O_RDONLY);
    if (read(fd, text, sizeof text - 1) <= 0)
        text[0] = '\0';
    close(fd);
    return text[0] ? strtol(text, NULL, 10) : -1;
}

bool fails_with(long result, int error) { return result == -1 && errno == error; }
