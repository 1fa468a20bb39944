// SPDX-License-Identifier: MIT
// Replaces functions of the C library in a program that links this file. Each function calls the scripted operating
// system of the calling thread, or the kernel if the thread has none. A sanitizer calls these functions before its
// runtime is ready, so the functions must not use that runtime.
//
// In a fortified build, and in a 32-bit build with 64-bit file offsets and times, the headers of the C library use
// different names for these functions. This file also defines those names.

// These macros would make the headers rename the functions that this file defines.
#undef _FILE_OFFSET_BITS
#undef _TIME_BITS

#include <atomic>
#include <cstdarg>
#include <ctime>

#include <dlfcn.h>
#include <fcntl.h>
#include <netdb.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "ScriptedOs.h"

extern "C" [[noreturn]] void __chk_fail() noexcept;

namespace {

__thread RynvelTest::ScriptedOs* currentOs = nullptr;

// The memory that a device has mapped from the latest scripted operating system. At the exit of the process, the device
// may unmap the memory after the destruction of the scripted operating system. The kernel must not unmap the memory,
// because the memory is part of the heap.
std::atomic<const void*> scriptedMemory{nullptr};

off64_t seekReally(int fd, off64_t offset, int whence) {
#ifdef SYS__llseek
    off64_t position = 0;
    const auto high = static_cast<unsigned long>(offset >> 32);
    const auto low = static_cast<unsigned long>(offset);
    return syscall(SYS__llseek, fd, high, low, &position, whence) == 0 ? position : -1;
#else
    return syscall(SYS_lseek, fd, offset, whence);
#endif
}

long mapReally(void* addr, size_t length, int prot, int flags, int fd, off64_t offset) {
#ifdef SYS_mmap2
    constexpr off64_t unit = 4096;
    return syscall(SYS_mmap2, addr, length, prot, flags, fd, static_cast<unsigned long>(offset / unit));
#elif defined(__s390__)
    const unsigned long arguments[] = {reinterpret_cast<unsigned long>(addr), length,
                                       static_cast<unsigned long>(prot),      static_cast<unsigned long>(flags),
                                       static_cast<unsigned long>(fd),        static_cast<unsigned long>(offset)};
    return syscall(SYS_mmap, arguments);
#else
    return syscall(SYS_mmap, addr, length, prot, flags, fd, offset);
#endif
}

unsigned int sleepReally(unsigned int seconds) {
    timespec left{static_cast<time_t>(seconds), 0};
    return nanosleep(&left, &left) == 0 ? 0 : static_cast<unsigned int>(left.tv_sec);
}

hostent* resolveReally(const char* name) {
    return reinterpret_cast<hostent* (*)(const char*)>(dlsym(RTLD_NEXT, "gethostbyname"))(name);
}

off64_t seek(int fd, off64_t offset, int whence) {
    return currentOs != nullptr ? currentOs->lseek(fd, offset, whence) : seekReally(fd, offset, whence);
}

int unmapReally(void* addr, size_t length) {
    return addr == scriptedMemory && addr != nullptr ? 0 : static_cast<int>(syscall(SYS_munmap, addr, length));
}

void* map(void* addr, size_t length, int prot, int flags, int fd, off64_t offset) {
    return currentOs != nullptr ? currentOs->mmap(addr, length, prot, flags, fd, offset)
                                : reinterpret_cast<void*>(mapReally(addr, length, prot, flags, fd, offset));
}

/** Ends the process, as the C library does, if the size in a call is greater than the size of its buffer. */
void checkRoom(size_t wanted, size_t room) {
    if (wanted > room) {
        __chk_fail();
    }
}

} // namespace

namespace RynvelTest {

ScriptedOs* ScriptedOs::current() { return currentOs; }

void ScriptedOs::makeCurrent(ScriptedOs* os) { currentOs = os; }

void ScriptedOs::keepMapped(const void* memory) { scriptedMemory = memory; }

} // namespace RynvelTest

extern "C" {

int open(const char* path, int flags, ...) {
    if (currentOs != nullptr) {
        return currentOs->open(path, flags);
    }
    std::va_list arguments;
    va_start(arguments, flags);
    const int mode = va_arg(arguments, int);
    va_end(arguments);
    return static_cast<int>(syscall(SYS_openat, AT_FDCWD, path, flags | O_LARGEFILE, mode));
}

int open64(const char* path, int flags, ...) __attribute__((alias("open")));
int __open_2(const char* path, int flags) { return open(path, flags, 0); }
int __open64_2(const char* path, int flags) { return open(path, flags, 0); }

int close(int fd) { return currentOs != nullptr ? currentOs->close(fd) : static_cast<int>(syscall(SYS_close, fd)); }

off_t lseek(int fd, off_t offset, int whence) noexcept { return static_cast<off_t>(seek(fd, offset, whence)); }
off64_t lseek64(int fd, off64_t offset, int whence) noexcept { return seek(fd, offset, whence); }

ssize_t read(int fd, void* buffer, size_t count) {
    return currentOs != nullptr ? currentOs->read(fd, buffer, count) : syscall(SYS_read, fd, buffer, count);
}

ssize_t __read_chk(int fd, void* buffer, size_t count, size_t room) {
    checkRoom(count, room);
    return read(fd, buffer, count);
}

ssize_t write(int fd, const void* buffer, size_t count) {
    return currentOs != nullptr ? currentOs->write(fd, buffer, count) : syscall(SYS_write, fd, buffer, count);
}

int ioctl(int fd, unsigned long request, ...) noexcept {
    std::va_list arguments;
    va_start(arguments, request);
    const auto argument = va_arg(arguments, unsigned long);
    va_end(arguments);
    return currentOs != nullptr ? currentOs->ioctl(fd, request, argument)
                                : static_cast<int>(syscall(SYS_ioctl, fd, request, argument));
}

int __ioctl_time64(int fd, unsigned long request, ...) noexcept __attribute__((alias("ioctl")));

void* mmap(void* addr, size_t length, int prot, int flags, int fd, off_t offset) noexcept {
    return map(addr, length, prot, flags, fd, offset);
}

void* mmap64(void* addr, size_t length, int prot, int flags, int fd, off64_t offset) noexcept {
    return map(addr, length, prot, flags, fd, offset);
}

int munmap(void* addr, size_t length) noexcept {
    return currentOs != nullptr ? currentOs->munmap(addr, length) : unmapReally(addr, length);
}

ssize_t readlink(const char* path, char* buffer, size_t size) noexcept {
    return currentOs != nullptr ? currentOs->readlink(path, buffer, size)
                                : syscall(SYS_readlinkat, AT_FDCWD, path, buffer, size);
}

ssize_t __readlink_chk(const char* path, char* buffer, size_t size, size_t room) noexcept {
    checkRoom(size, room);
    return readlink(path, buffer, size);
}

ssize_t send(int fd, const void* buffer, size_t count, int flags) {
    return currentOs != nullptr ? currentOs->send(fd, buffer, count, flags)
                                : syscall(SYS_sendto, fd, buffer, count, flags, nullptr, 0);
}

int socket(int domain, int type, int protocol) noexcept {
    return currentOs != nullptr ? currentOs->socket(domain, type, protocol)
                                : static_cast<int>(syscall(SYS_socket, domain, type, protocol));
}

int connect(int fd, const sockaddr* address, socklen_t size) {
    return currentOs != nullptr ? currentOs->connect(fd, address, size)
                                : static_cast<int>(syscall(SYS_connect, fd, address, size));
}

int setsockopt(int fd, int level, int name, const void* value, socklen_t size) noexcept {
    return currentOs != nullptr ? currentOs->setsockopt(fd, level, name)
                                : static_cast<int>(syscall(SYS_setsockopt, fd, level, name, value, size));
}

int __setsockopt64(int fd, int level, int name, const void* value, socklen_t size) noexcept {
    return setsockopt(fd, level, name, value, size);
}

unsigned int sleep(unsigned int seconds) {
    return currentOs != nullptr ? currentOs->sleep(seconds) : sleepReally(seconds);
}

hostent* gethostbyname(const char* name) {
    return currentOs != nullptr ? currentOs->gethostbyname(name) : resolveReally(name);
}
}
