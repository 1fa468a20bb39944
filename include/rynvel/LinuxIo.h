/* SPDX-License-Identifier: MIT */
/**
 * @file
 * System calls on files and sockets.
 */
#ifndef RYNVEL_LINUXIO_H
#define RYNVEL_LINUXIO_H

#include "rynvel/Export.h"

/**
 * System calls on files and sockets. Each function passes its arguments to the C library function with the same name,
 * and leaves the result and `errno` of that function unchanged. The class has no state, does not repeat failed calls,
 * and traces nothing. You may call the functions from any thread.
 */
class RYNVEL_EXPORT LinuxIo {
public:
    /** Opens a file without a mode: `flags` must not contain O_CREAT or O_TMPFILE. */
    int open(const char* path, int flags);
    /** Closes a descriptor. */
    int close(int fd);
    /** Moves the offset of a file. @return the new offset in bytes; -1 for failure. */
    long lseek(int fd, long offset, int whence);
    /** Reads at most `count` bytes. @return the number of bytes that were read; -1 for failure. */
    int read(int fd, void* buffer, unsigned int count) const;
    /** Writes at most `count` bytes. @return the number of bytes that were written; -1 for failure. */
    int write(int fd, const void* buffer, unsigned int count);
    /** Sends an ioctl request whose argument is a number. */
    int ioctl(int fd, int request, unsigned long arg);
    /** Sends an ioctl request whose argument is the address of a number. */
    int ioctl(int fd, int request, unsigned long* arg);
    /** Sends an ioctl request without an argument. */
    int ioctl(int fd, int request);
    /** Maps a file or anonymous memory. @return the beginning of the map; MAP_FAILED for failure. */
    void* mmap(void* addr, unsigned int length, int prot, int flags, int fd, long offset);
    /** Unmaps a range of addresses. */
    int munmap(void* addr, unsigned int length);
    /**
     * Stores the target of a symbolic link, without a terminating zero byte.
     *
     * @return the number of stored bytes, at most `size`; -1 for failure.
     */
    int readlink(const char* path, char* buffer, unsigned int size);
};

#endif
