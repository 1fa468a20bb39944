/* SPDX-License-Identifier: MIT */
/**
 * @file
 * The system calls that the library makes.
 */
#ifndef RYNVEL_LINUXIO_H
#define RYNVEL_LINUXIO_H

#include "rynvel/Export.h"

/**
 * Each function passes its arguments to the function of the C library with the same name, and returns its result and
 * `errno` unchanged. The class has no state, repeats no call and traces nothing. You may use it in any thread.
 */
class RYNVEL_EXPORT LinuxIo {
public:
    /** Passes no mode: `flags` must not contain O_CREAT or O_TMPFILE. */
    int open(const char* path, int flags);
    int close(int fd);
    long lseek(int fd, long offset, int whence);
    int read(int fd, void* buffer, unsigned int count) const;
    int write(int fd, const void* buffer, unsigned int count);
    int ioctl(int fd, int request, unsigned long arg);
    int ioctl(int fd, int request, unsigned long* arg);
    /** Makes the system call without a third argument. */
    int ioctl(int fd, int request);
    void* mmap(void* addr, unsigned int length, int prot, int flags, int fd, long offset);
    int munmap(void* addr, unsigned int length);
    /** @return the length of the link in bytes, which is not zero-terminated. */
    int readlink(const char* path, char* buffer, unsigned int size);
};

#endif
