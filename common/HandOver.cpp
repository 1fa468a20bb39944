// With these the headers rename what is defined here.
#undef _FILE_OFFSET_BITS
#undef _TIME_BITS

#include "HandOver.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cstdarg>
#include <utility>

namespace {

__thread Common::HandOver* current = nullptr;

void* mapReally(void* address, size_t length, int protection, int flags, int descriptor, off64_t offset) {
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
    const bool mayBeThere = current != nullptr && address == nullptr && offset == 0;
    void* const mapping = mayBeThere ? current->take(descriptor, length) : nullptr;
    return mapping != nullptr ? mapping : mapReally(address, length, protection, flags, descriptor, offset);
}

} // namespace

namespace Common {

HandOver::HandOver(std::string path, int descriptor) : m_path(std::move(path)), m_descriptor(descriptor) {
    current = this;
}

HandOver::~HandOver() {
    current = nullptr;
    if (m_mapping != nullptr) {
        ::munmap(m_mapping, m_size);
    }
    if (!m_isTaken) {
        ::close(m_descriptor);
    }
}

bool HandOver::map(std::size_t size) {
    void* const mapping = mapReally(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED, m_descriptor, 0);
    if (mapping == MAP_FAILED) {
        return false;
    }
    m_mapping = mapping;
    m_size = size;
    return true;
}

int HandOver::take(const char* path) {
    if (m_isTaken || m_path != path) {
        return -1;
    }
    m_isTaken = true;
    return m_descriptor;
}

void* HandOver::take(int descriptor, std::size_t size) {
    return descriptor == m_descriptor && size == m_size ? std::exchange(m_mapping, nullptr) : nullptr;
}

} // namespace Common

namespace {

int openOrTake(const char* path, int flags, mode_t mode) {
    const int handedOver = current != nullptr ? current->take(path) : -1;
    return handedOver != -1 ? handedOver : static_cast<int>(syscall(SYS_openat, AT_FDCWD, path, flags, mode));
}

mode_t modeOf(int flags, std::va_list& arguments) { return __OPEN_NEEDS_MODE(flags) ? va_arg(arguments, mode_t) : 0; }

} // namespace

// The functions have further names, which the C library's headers call in a fortified build, and in a build for 32 bits
// whose file offsets have 64.
extern "C" {

// The names are the C library's.
// NOLINTBEGIN(bugprone-reserved-identifier, readability-inconsistent-declaration-parameter-name)
[[gnu::visibility("default")]] int open(const char* path, int flags, ...) {
    std::va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = modeOf(flags, arguments);
    va_end(arguments);
    return openOrTake(path, flags, mode);
}

[[gnu::visibility("default")]] int open64(const char* path, int flags, ...) {
    std::va_list arguments;
    va_start(arguments, flags);
    const mode_t mode = modeOf(flags, arguments);
    va_end(arguments);
    return openOrTake(path, flags | O_LARGEFILE, mode);
}

[[gnu::visibility("default")]] int __open_2(const char* path, int flags) { return openOrTake(path, flags, 0); }

[[gnu::visibility("default")]] int __open64_2(const char* path, int flags) {
    return openOrTake(path, flags | O_LARGEFILE, 0);
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
