// SPDX-License-Identifier: MIT
// With these macros, the headers would rename the functions that this file defines.
#undef _FILE_OFFSET_BITS
#undef _TIME_BITS

#include "PreopenedFiles.h"

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <utility>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace {

__thread Common::PreopenedFiles* current = nullptr;

int realOpen(const char* path, int flags, mode_t mode) {
    return static_cast<int>(syscall(SYS_openat, AT_FDCWD, path, flags, mode));
}

void* realMmap(void* address, size_t length, int protection, int flags, int descriptor, off64_t offset) {
#ifdef SYS_mmap2
    constexpr off64_t unit = 4096;
    return reinterpret_cast<void*>(
        syscall(SYS_mmap2, address, length, protection, flags, descriptor, static_cast<unsigned long>(offset / unit)));
#elif defined(__s390__)
    const unsigned long arguments[] = {reinterpret_cast<unsigned long>(address), length,
                                       static_cast<unsigned long>(protection),   static_cast<unsigned long>(flags),
                                       static_cast<unsigned long>(descriptor),   static_cast<unsigned long>(offset)};
    return reinterpret_cast<void*>(syscall(SYS_mmap, arguments));
#else
    return reinterpret_cast<void*>(syscall(SYS_mmap, address, length, protection, flags, descriptor, offset));
#endif
}

void* map(void* address, size_t length, int protection, int flags, int descriptor, off64_t offset) {
    const bool mayBePreopened = current != nullptr && address == nullptr && offset == 0;
    void* const mapping = mayBePreopened ? current->take(descriptor, length) : nullptr;
    return mapping != nullptr ? mapping : realMmap(address, length, protection, flags, descriptor, offset);
}

} // namespace

namespace Common {

MappedRange::~MappedRange() { ::munmap(m_begin, m_size); }

PreopenedFiles::PreopenedFiles() { current = this; }

PreopenedFiles::~PreopenedFiles() {
    current = nullptr;
    if (m_mapping != nullptr) {
        ::munmap(m_begin, m_reservedSize);
    }
}

int PreopenedFiles::open(const std::string& path, int flags) {
    Descriptor opened(realOpen(path.c_str(), flags | O_CLOEXEC, 0));
    const int descriptor = opened.number();
    if (opened.isOpen()) {
        m_files.push_back({path, std::move(opened)});
    }
    return descriptor;
}

bool PreopenedFiles::map(int descriptor, std::size_t size, std::size_t offset) {
    const auto page = static_cast<std::size_t>(::sysconf(_SC_PAGESIZE));
    m_reservedSize = (offset + size + page - 1) / page * page;
    // The library calls munmap() for the address at `offset`. If that address is not the beginning of a page, munmap()
    // fails and unmaps nothing.
    m_remainderSize = offset % page == 0 ? offset : m_reservedSize;
    void* const reserved =
        realMmap(nullptr, m_reservedSize, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    if (reserved == MAP_FAILED) {
        return false;
    }
    m_begin = reserved;
    if (realMmap(m_begin, size, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_FIXED, descriptor, 0) == MAP_FAILED) {
        const int reason = errno;
        ::munmap(m_begin, m_reservedSize);
        errno = reason;
        return false;
    }
    m_mapped = descriptor;
    m_mapping = m_begin;
    m_size = size;
    return true;
}

std::shared_ptr<MappedRange> PreopenedFiles::takeRemainder() const {
    return m_remainderSize == 0 ? nullptr : std::make_shared<MappedRange>(m_begin, m_remainderSize);
}

int PreopenedFiles::take(const char* path) {
    const auto file = std::find_if(m_files.begin(), m_files.end(), [&](const File& each) { return each.path == path; });
    if (file == m_files.end()) {
        return -1;
    }
    const int descriptor = file->descriptor.release();
    m_files.erase(file);
    return descriptor;
}

void* PreopenedFiles::take(int descriptor, std::size_t size) {
    return descriptor == m_mapped && size == m_size ? std::exchange(m_mapping, nullptr) : nullptr;
}

} // namespace Common

namespace {

int openPreopenedOrReal(const char* path, int flags, mode_t mode) {
    const int preopened = current != nullptr ? current->take(path) : -1;
    return preopened != -1 ? preopened : realOpen(path, flags, mode);
}

mode_t modeOf(int flags, std::va_list& arguments) { return __OPEN_NEEDS_MODE(flags) ? va_arg(arguments, mode_t) : 0; }

} // namespace

// The C library has several names for each function. Its headers use these names in a fortified build, and in a 32-bit
// build with 64-bit file offsets.
extern "C" {

// The C library determines the names.
// NOLINTBEGIN(bugprone-reserved-identifier, readability-inconsistent-declaration-parameter-name)
[[gnu::visibility("default")]] int open(const char* path, int flags, ...) {
    std::va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = modeOf(flags, arguments);
    va_end(arguments);
    return openPreopenedOrReal(path, flags, mode);
}

[[gnu::visibility("default")]] int open64(const char* path, int flags, ...) {
    std::va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = modeOf(flags, arguments);
    va_end(arguments);
    return openPreopenedOrReal(path, flags | O_LARGEFILE, mode);
}

[[gnu::visibility("default")]] int __open_2(const char* path, int flags) { return openPreopenedOrReal(path, flags, 0); }

[[gnu::visibility("default")]] int __open64_2(const char* path, int flags) {
    return openPreopenedOrReal(path, flags | O_LARGEFILE, 0);
}

[[gnu::visibility("default")]] void* mmap(void* address, size_t length, int protection, int flags, int descriptor,
                                          off_t offset) noexcept {
    return map(address, length, protection, flags, descriptor, offset);
}

[[gnu::visibility("default")]] void* mmap64(void* address, size_t length, int protection, int flags, int descriptor,
                                            off64_t offset) noexcept {
    return map(address, length, protection, flags, descriptor, offset);
}
// NOLINTEND(bugprone-reserved-identifier, readability-inconsistent-declaration-parameter-name)

} // extern "C"
