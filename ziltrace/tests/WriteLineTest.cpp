// SPDX-License-Identifier: MIT
#include "WriteLine.h"

#include <array>
#include <cerrno>
#include <csignal>

#include <unistd.h>

#include <gtest/gtest.h>

#include "support/WriteTap.h"

using ziltrace::writeLine;

namespace {

class BrokenPipe {
public:
    BrokenPipe() {
        EXPECT_EQ(pipe(m_ends.data()), 0);
        close(m_ends[0]);
    }

    ~BrokenPipe() { close(m_ends[1]); }

    BrokenPipe(const BrokenPipe&) = delete;
    BrokenPipe& operator=(const BrokenPipe&) = delete;

    int descriptor() const { return m_ends[1]; }

private:
    std::array<int, 2> m_ends{};
};

sigset_t sigpipeOnly() {
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, SIGPIPE);
    return set;
}

bool sigpipeIsBlocked() {
    sigset_t mask;
    pthread_sigmask(SIG_SETMASK, nullptr, &mask);
    return sigismember(&mask, SIGPIPE) == 1;
}

bool sigpipeIsPending() {
    sigset_t pending;
    sigpending(&pending);
    return sigismember(&pending, SIGPIPE) == 1;
}

class SigpipeBlockedByTheCaller : public ::testing::Test {
protected:
    SigpipeBlockedByTheCaller() { pthread_sigmask(SIG_BLOCK, &m_sigpipe, nullptr); }

    ~SigpipeBlockedByTheCaller() override {
        const timespec atOnce{};
        sigtimedwait(&m_sigpipe, nullptr, &atOnce);
        pthread_sigmask(SIG_UNBLOCK, &m_sigpipe, nullptr);
    }

    const sigset_t m_sigpipe = sigpipeOnly();
};

TEST(WriteLine, MakesOneCallForTheWholeLine) {
    const WriteTap tap(WriteTap::swallow);
    const std::string line(100000, 'x');
    writeLine(7, line);
    ASSERT_EQ(tap.calls().size(), 1U);
    EXPECT_EQ(tap.calls()[0].descriptor, 7);
    EXPECT_EQ(tap.calls()[0].data, line);
}

TEST(WriteLine, DoesNotRetryAShortWrite) {
    const WriteTap tap([](int, const void*, std::size_t) { return 3; });
    writeLine(7, "0123456789\n");
    EXPECT_EQ(tap.calls().size(), 1U);
}

TEST(WriteLine, DoesNotRetryAFailedWrite) {
    for (const int code : {EINTR, EAGAIN, ENOSPC, EPIPE}) {
        const WriteTap tap([code](int, const void*, std::size_t) {
            errno = code;
            return -1;
        });
        writeLine(7, "x\n");
        EXPECT_EQ(tap.calls().size(), 1U);
    }
}

TEST(WriteLine, SurvivesAPipeWithoutReader) {
    const BrokenPipe pipe;
    ASSERT_FALSE(sigpipeIsBlocked());
    writeLine(pipe.descriptor(), "x\n");
    EXPECT_FALSE(sigpipeIsBlocked());
    EXPECT_FALSE(sigpipeIsPending());
}

TEST_F(SigpipeBlockedByTheCaller, StaysBlockedAndIsNotLeftPending) {
    const BrokenPipe pipe;
    writeLine(pipe.descriptor(), "x\n");
    EXPECT_TRUE(sigpipeIsBlocked());
    EXPECT_FALSE(sigpipeIsPending());
}

TEST_F(SigpipeBlockedByTheCaller, StaysPendingWhenItWasPendingBefore) {
    const BrokenPipe pipe;
    pthread_kill(pthread_self(), SIGPIPE);
    ASSERT_TRUE(sigpipeIsPending());
    writeLine(pipe.descriptor(), "x\n");
    EXPECT_TRUE(sigpipeIsPending());
}

} // namespace
