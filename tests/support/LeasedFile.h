/* SPDX-License-Identifier: MIT */
#ifndef RYNVEL_TESTS_LEASEDFILE_H
#define RYNVEL_TESTS_LEASEDFILE_H

#include <csignal>
#include <string>

#include <fcntl.h>
#include <unistd.h>

#include <gtest/gtest.h>

namespace RynvelTest {

/** A file with a lease. Opening the file blocks until the test releases the lease or the system breaks the lease. */
class LeasedFile {
public:
    explicit LeasedFile(const std::string& path) : m_fd(::open(path.c_str(), O_RDWR | O_CLOEXEC)) {
        // At each attempt to open the file, the system sends SIGIO, which would end the test.
        std::signal(SIGIO, SIG_IGN);
        EXPECT_EQ(::fcntl(m_fd, F_SETLEASE, F_WRLCK), 0);
    }
    LeasedFile(const LeasedFile&) = delete;
    LeasedFile& operator=(const LeasedFile&) = delete;
    ~LeasedFile() { ::close(m_fd); }

    /** Returns whether a process has tried to open the file. */
    bool isAwaited() const { return ::fcntl(m_fd, F_GETLEASE) != F_WRLCK; }
    void release() const { EXPECT_EQ(::fcntl(m_fd, F_SETLEASE, F_UNLCK), 0); }

private:
    const int m_fd;
};

} // namespace RynvelTest

#endif
