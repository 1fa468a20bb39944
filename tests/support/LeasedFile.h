/* SPDX-License-Identifier: MIT */
#ifndef RYNVEL_TESTS_LEASEDFILE_H
#define RYNVEL_TESTS_LEASEDFILE_H

#include <csignal>
#include <string>

#include <fcntl.h>
#include <unistd.h>

#include <gtest/gtest.h>

namespace RynvelTest {

/** A file that nobody else can open: who tries is held, until it is released or the system loses its patience. */
class LeasedFile {
public:
    explicit LeasedFile(const std::string& path) : m_fd(::open(path.c_str(), O_RDWR | O_CLOEXEC)) {
        // It tells of those who try.
        std::signal(SIGIO, SIG_IGN);
        EXPECT_EQ(::fcntl(m_fd, F_SETLEASE, F_WRLCK), 0);
    }
    LeasedFile(const LeasedFile&) = delete;
    LeasedFile& operator=(const LeasedFile&) = delete;
    ~LeasedFile() { ::close(m_fd); }

    /** Whether somebody has tried. */
    bool isAwaited() const { return ::fcntl(m_fd, F_GETLEASE) != F_WRLCK; }
    void release() const { EXPECT_EQ(::fcntl(m_fd, F_SETLEASE, F_UNLCK), 0); }

private:
    const int m_fd;
};

} // namespace RynvelTest

#endif
