/* SPDX-License-Identifier: MIT */
#ifndef RYNVEL_TESTS_LEASEDFILE_H
#define RYNVEL_TESTS_LEASEDFILE_H

#include <csignal>
#include <string>

#include <fcntl.h>
#include <unistd.h>

#include <gtest/gtest.h>

namespace RynvelTest {

/** A file that nobody else can open: an attempt blocks until the lease is released or broken by the system. */
class LeasedFile {
public:
    explicit LeasedFile(const std::string& path) : m_fd(::open(path.c_str(), O_RDWR | O_CLOEXEC)) {
        // The signal reports attempts.
        std::signal(SIGIO, SIG_IGN);
        EXPECT_EQ(::fcntl(m_fd, F_SETLEASE, F_WRLCK), 0);
    }
    LeasedFile(const LeasedFile&) = delete;
    LeasedFile& operator=(const LeasedFile&) = delete;
    ~LeasedFile() { ::close(m_fd); }

    /** Tells whether an attempt was made. */
    bool isAwaited() const { return ::fcntl(m_fd, F_GETLEASE) != F_WRLCK; }
    void release() const { EXPECT_EQ(::fcntl(m_fd, F_SETLEASE, F_UNLCK), 0); }

private:
    const int m_fd;
};

} // namespace RynvelTest

#endif
