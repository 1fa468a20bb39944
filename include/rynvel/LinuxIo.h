/**
 * @file
 * The system calls of the library.
 */
#ifndef RYNVEL_LINUXIO_H
#define RYNVEL_LINUXIO_H

#include "rynvel/Export.h"

/**
 * Passes its arguments to the C library's function of the same name and returns that function's result unchanged,
 * `errno` included. No state, no retry, no tracing; any number of threads may call it.
 */
class RYNVEL_EXPORT LinuxIo {
public:
    /** No mode is passed: `flags` must not ask for the creation of a file. */
    int open(const char* path, int flags);
    int close(int fd);
    long lseek(int fd, long offset, int whence);
    int read(int fd, void* buffer, unsigned int count) const;
    int write(int fd, const void* buffer, unsigned int count);
    int ioctl(int fd, int request, unsigned long arg);
    int ioctl(int fd, int request, unsigned long* arg);
    /** Makes the request without a third argument. */
    int ioctl(int fd, int request);
    void* mmap(void* addr, unsigned int length, int prot, int flags, int fd, long offset);
    int munmap(void* addr, unsigned int length);
    /** @return the length of the link's text; no terminating zero is added. */
    int readlink(const char* path, char* buffer, unsigned int size);
};

#endif
