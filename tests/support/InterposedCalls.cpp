// The C library's functions, as the library under test finds them in a program that links this file: they go to the
// scripted operating system of the calling thread, and to the C library where there is none.

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdarg>

#include "ScriptedOs.h"

namespace {

using RynvelTest::ScriptedOs;

template <typename Function>
Function* next(Function* /*sameType*/, const char* name) {
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

} // namespace

extern "C" {

int open(const char* path, int flags, ...) {
    if (ScriptedOs* os = ScriptedOs::current()) {
        return os->open(path, flags);
    }
    static const auto real = next(&::open, "open");
    std::va_list arguments;
    va_start(arguments, flags);
    const int mode = va_arg(arguments, int);
    va_end(arguments);
    return real(path, flags, mode);
}

int close(int fd) {
    if (ScriptedOs* os = ScriptedOs::current()) {
        return os->close(fd);
    }
    static const auto real = next(&::close, "close");
    return real(fd);
}

off_t lseek(int fd, off_t offset, int whence) noexcept {
    if (ScriptedOs* os = ScriptedOs::current()) {
        return os->lseek(fd, offset, whence);
    }
    static const auto real = next(&::lseek, "lseek");
    return real(fd, offset, whence);
}

ssize_t read(int fd, void* buffer, size_t count) {
    if (ScriptedOs* os = ScriptedOs::current()) {
        return os->read(fd, buffer, count);
    }
    static const auto real = next(&::read, "read");
    return real(fd, buffer, count);
}

ssize_t write(int fd, const void* buffer, size_t count) {
    if (ScriptedOs* os = ScriptedOs::current()) {
        return os->write(fd, buffer, count);
    }
    static const auto real = next(&::write, "write");
    return real(fd, buffer, count);
}

int ioctl(int fd, unsigned long request, ...) noexcept {
    std::va_list arguments;
    va_start(arguments, request);
    const auto argument = va_arg(arguments, unsigned long);
    va_end(arguments);
    if (ScriptedOs* os = ScriptedOs::current()) {
        return os->ioctl(fd, request, argument);
    }
    static const auto real = next(&::ioctl, "ioctl");
    return real(fd, request, argument);
}

void* mmap(void* addr, size_t length, int prot, int flags, int fd, off_t offset) noexcept {
    if (ScriptedOs* os = ScriptedOs::current()) {
        return os->mmap(addr, length, prot, flags, fd, offset);
    }
    static const auto real = next(&::mmap, "mmap");
    return real(addr, length, prot, flags, fd, offset);
}

int munmap(void* addr, size_t length) noexcept {
    if (ScriptedOs* os = ScriptedOs::current()) {
        return os->munmap(addr, length);
    }
    static const auto real = next(&::munmap, "munmap");
    return real(addr, length);
}

ssize_t readlink(const char* path, char* buffer, size_t size) noexcept {
    if (ScriptedOs* os = ScriptedOs::current()) {
        return os->readlink(path, buffer, size);
    }
    static const auto real = next(&::readlink, "readlink");
    return real(path, buffer, size);
}
}
