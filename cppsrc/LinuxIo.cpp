// SPDX-License-Identifier: MIT
#include "rynvel/LinuxIo.h"

#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <unistd.h>

namespace {

template <typename Number>
Number requestParameterOf(int (*)(int, Number, ...));

// The type of the second parameter of ioctl(): unsigned long in the GNU C library, int in other C libraries.
using RequestNumber = decltype(requestParameterOf(::ioctl));

// Returns the 32 bits of the request. A direct conversion to unsigned long would extend the sign.
RequestNumber requestNumber(int request) { return static_cast<RequestNumber>(static_cast<unsigned int>(request)); }

} // namespace

int LinuxIo::open(const char* path, int flags) { return ::open(path, flags); }

int LinuxIo::close(int fd) { return ::close(fd); }

long LinuxIo::lseek(int fd, long offset, int whence) { return ::lseek(fd, offset, whence); }

int LinuxIo::read(int fd, void* buffer, unsigned int count) const {
    return static_cast<int>(::read(fd, buffer, count));
}

int LinuxIo::write(int fd, const void* buffer, unsigned int count) {
    return static_cast<int>(::write(fd, buffer, count));
}

int LinuxIo::ioctl(int fd, int request, unsigned long arg) { return ::ioctl(fd, requestNumber(request), arg); }

int LinuxIo::ioctl(int fd, int request, unsigned long* arg) { return ::ioctl(fd, requestNumber(request), arg); }

int LinuxIo::ioctl(int fd, int request) { return ::ioctl(fd, requestNumber(request)); }

void* LinuxIo::mmap(void* addr, unsigned int length, int prot, int flags, int fd, long offset) {
    return ::mmap(addr, length, prot, flags, fd, offset);
}

int LinuxIo::munmap(void* addr, unsigned int length) { return ::munmap(addr, length); }

int LinuxIo::readlink(const char* path, char* buffer, unsigned int size) {
    return static_cast<int>(::readlink(path, buffer, size));
}
