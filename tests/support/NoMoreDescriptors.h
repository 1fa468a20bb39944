/* SPDX-License-Identifier: MIT */
#ifndef RYNVEL_TESTS_NOMOREDESCRIPTORS_H
#define RYNVEL_TESTS_NOMOREDESCRIPTORS_H

#include <sys/resource.h>

#include <gtest/gtest.h>

namespace RynvelTest {

/** A scope in which this process cannot open a file or a socket. Open descriptors remain usable. */
class NoMoreDescriptors {
public:
    NoMoreDescriptors() {
        EXPECT_EQ(::getrlimit(RLIMIT_NOFILE, &m_before), 0);
        const rlimit none{0, m_before.rlim_max};
        EXPECT_EQ(::setrlimit(RLIMIT_NOFILE, &none), 0);
    }
    NoMoreDescriptors(const NoMoreDescriptors&) = delete;
    NoMoreDescriptors& operator=(const NoMoreDescriptors&) = delete;
    ~NoMoreDescriptors() { EXPECT_EQ(::setrlimit(RLIMIT_NOFILE, &m_before), 0); }

private:
    rlimit m_before{};
};

} // namespace RynvelTest

#endif
