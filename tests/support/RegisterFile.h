/* SPDX-License-Identifier: MIT */
#ifndef RYNVEL_TESTS_REGISTERFILE_H
#define RYNVEL_TESTS_REGISTERFILE_H

#include <unistd.h>

#include <gtest/gtest.h>

namespace RynvelTest {

/** Registers of type T in an open file. The test can access them without the device under test. */
template <typename T>
class RegisterFile {
public:
    using Value = T;

    /** Takes ownership of the file, and sets the first 64 registers to zero. */
    explicit RegisterFile(int fd) : m_fd(fd) {
        for (unsigned int i = 0; i < 64; ++i) {
            poke(i, 0);
        }
    }
    RegisterFile(const RegisterFile&) = delete;
    RegisterFile& operator=(const RegisterFile&) = delete;
    ~RegisterFile() { close(m_fd); }

    T peek(unsigned int i) const {
        T value = 0;
        EXPECT_EQ(pread(m_fd, &value, sizeof(T), offsetOf(i)), static_cast<ssize_t>(sizeof(T)));
        return value;
    }

    void poke(unsigned int i, T value) {
        EXPECT_EQ(pwrite(m_fd, &value, sizeof(T), offsetOf(i)), static_cast<ssize_t>(sizeof(T)));
    }

private:
    static off_t offsetOf(unsigned int i) { return static_cast<off_t>(i * sizeof(T)); }

    const int m_fd;
};

} // namespace RynvelTest

#endif
