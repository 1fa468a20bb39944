/* SPDX-License-Identifier: MIT */
/*
 * A UIO driver for the tests. Load this library with LD_PRELOAD. Opening the file uio_link returns a copy of the socket
 * whose descriptor is in the environment variable RYNVEL_FAKE_DRIVER. A test has the other end of the socket, where the
 * test receives what the package writes to the device, and sends interrupts. The folder in the variable
 * RYNVEL_FAKE_SYSFS replaces /sys/class/uio. A file in memory replaces the registers of the device.
 */
#define _GNU_SOURCE
#include <dlfcn.h>
#include <fcntl.h>
#include <limits.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#ifdef SYS_mmap2
#define MMAP_CALL SYS_mmap2
#else
#define MMAP_CALL SYS_mmap
#endif

static const char sysfs[] = "/sys/class/uio/";

static int is_socket(long descriptor) {
    struct stat status;
    return descriptor >= 0 && fstat((int)descriptor, &status) == 0 && S_ISSOCK(status.st_mode);
}

long syscall(long number, ...) {
    long (*real)(long, ...) = NULL;
    *(void**)&real = dlsym(RTLD_NEXT, "syscall");
    long arguments[6];
    va_list list;
    va_start(list, number);
    for (int i = 0; i < 6; ++i) {
        arguments[i] = va_arg(list, long);
    }
    va_end(list);
    char path[PATH_MAX];
    if (number == SYS_openat) {
        const char* const name = (const char*)arguments[1];
        const char* const driver = getenv("RYNVEL_FAKE_DRIVER");
        const char* const folder = getenv("RYNVEL_FAKE_SYSFS");
        if (driver != NULL && strcmp(name, "uio_link") == 0) {
            return fcntl(atoi(driver), F_DUPFD_CLOEXEC, 0);
        }
        if (folder != NULL && strncmp(name, sysfs, sizeof(sysfs) - 1) == 0) {
            snprintf(path, sizeof(path), "%s/%s", folder, name + sizeof(sysfs) - 1);
            arguments[1] = (long)path;
        }
    }
    if (number == MMAP_CALL && is_socket(arguments[4])) {
        const int memory = memfd_create("registers", MFD_CLOEXEC);
        if (memory == -1 || ftruncate(memory, arguments[1]) != 0) {
            return -1;
        }
        arguments[4] = memory;
    }
    return real(number, arguments[0], arguments[1], arguments[2], arguments[3], arguments[4], arguments[5]);
}
