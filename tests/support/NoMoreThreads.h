/* SPDX-License-Identifier: MIT */
#ifndef RYNVEL_TESTS_NOMORETHREADS_H
#define RYNVEL_TESTS_NOMORETHREADS_H

#include <cstdint>

#include <pthread.h>

#include <gtest/gtest.h>

namespace RynvelTest {

/** While an object exists, no thread can start, because the default stack is larger than the system can allocate. */
class NoMoreThreads {
public:
    NoMoreThreads() {
        EXPECT_EQ(pthread_getattr_default_np(&m_before), 0);
        pthread_attr_t attributes;
        EXPECT_EQ(pthread_attr_init(&attributes), 0);
        EXPECT_EQ(pthread_attr_setstacksize(&attributes, SIZE_MAX / 4 * 3 / 4096 * 4096), 0);
        EXPECT_EQ(pthread_setattr_default_np(&attributes), 0);
        pthread_attr_destroy(&attributes);
    }
    NoMoreThreads(const NoMoreThreads&) = delete;
    NoMoreThreads& operator=(const NoMoreThreads&) = delete;
    ~NoMoreThreads() { pthread_setattr_default_np(&m_before); }

private:
    pthread_attr_t m_before{};
};

} // namespace RynvelTest

#endif
