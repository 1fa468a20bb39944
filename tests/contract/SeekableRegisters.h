#ifndef RYNVEL_TESTS_SEEKABLEREGISTERS_H
#define RYNVEL_TESTS_SEEKABLEREGISTERS_H

#include <memory>
#include <string>
#include <utility>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <rynvel.hpp>
#include <unistd.h>

namespace RynvelTest {

/** Registers in a file that can be positioned, for the device contract. */
template <typename T>
class SeekableRegisters {
public:
    using Value = T;
    static constexpr bool hasInterrupts = false;
    static constexpr bool hasHandle = true;
    static constexpr bool atomicMaskedWrites = true;

    /** @param fd a descriptor of the file, owned from now on. */
    SeekableRegisters(std::string path, int fd) : m_path(std::move(path)), m_fd(fd) {
        EXPECT_NE(m_fd, -1) << m_path;
        for (unsigned int i = 0; i < 64; ++i) {
            poke(i, 0);
        }
    }
    SeekableRegisters(const SeekableRegisters&) = delete;
    SeekableRegisters& operator=(const SeekableRegisters&) = delete;
    ~SeekableRegisters() { close(m_fd); }

    std::unique_ptr<Rynvel::Device<T>> open() {
        return std::make_unique<Rynvel::Lseek<T>>(
            m_path, std::make_unique<Rynvel::PthreadMutex>(Rynvel::PthreadMutexType::None));
    }

    static unsigned int address(unsigned int i) { return static_cast<unsigned int>(i * sizeof(T)); }
    static bool reportsBurst(unsigned int items) { return sizeof(T) == 1 || items == 0; }

    T peek(unsigned int i) const {
        T value = 0;
        EXPECT_EQ(pread(m_fd, &value, sizeof(T), offset(i)), static_cast<ssize_t>(sizeof(T)));
        return value;
    }

    void poke(unsigned int i, T value) {
        EXPECT_EQ(pwrite(m_fd, &value, sizeof(T), offset(i)), static_cast<ssize_t>(sizeof(T)));
    }

private:
    static off_t offset(unsigned int i) { return static_cast<off_t>(address(i)); }

    const std::string m_path;
    const int m_fd;
};

} // namespace RynvelTest

#endif
