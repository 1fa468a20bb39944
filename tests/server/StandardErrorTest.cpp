// SPDX-License-Identifier: MIT
#include "StandardError.h"

#include <array>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "ChildProcess.h"

namespace RynvelTest {
namespace {

bool blocks(int descriptor) { return (::fcntl(descriptor, F_GETFL) & O_NONBLOCK) == 0; }

/** Makes standard error the write end of a pipe. Returns another descriptor of that end. */
int redirectToPipe() {
    std::array<int, 2> ends{};
    EXPECT_EQ(::pipe(ends.data()), 0);
    EXPECT_EQ(::dup2(ends[1], STDERR_FILENO), STDERR_FILENO);
    return ends[1];
}

TEST(StandardError, NeverBlocksAndKeepsThePipeOfOthersBlocking) {
    inChildProcess([] {
        const int pipe = redirectToPipe();
        Rynveld::makeStandardErrorNonBlocking();
        EXPECT_FALSE(blocks(STDERR_FILENO));
        EXPECT_TRUE(blocks(pipe));
    });
}

TEST(StandardError, NeverBlocksOnThePipeOfAnotherUser) {
    inChildProcess([] {
        const int pipe = redirectToPipe();
        ASSERT_EQ(::fchmod(pipe, 0), 0);
        constexpr uid_t nobody = 65534;
        const uid_t own = ::geteuid();
        // Root may open the pipe in spite of its mode, so the test changes to another user.
        EXPECT_TRUE(own != 0 || ::seteuid(nobody) == 0);
        Rynveld::makeStandardErrorNonBlocking();
        EXPECT_TRUE(own != 0 || ::seteuid(own) == 0);
        EXPECT_FALSE(blocks(STDERR_FILENO));
    });
}

TEST(StandardError, MayBeClosed) {
    inChildProcess([] {
        ::close(STDERR_FILENO);
        Rynveld::makeStandardErrorNonBlocking();
        EXPECT_EQ(::fcntl(STDERR_FILENO, F_GETFL), -1);
    });
}

} // namespace
} // namespace RynvelTest
