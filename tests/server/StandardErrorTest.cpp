#include "StandardError.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>

#include <gtest/gtest.h>

#include "ChildProcess.h"

namespace RynvelTest {
namespace {

bool blocks(int descriptor) { return (::fcntl(descriptor, F_GETFL) & O_NONBLOCK) == 0; }

/** A pipe whose end for writing is standard error. */
void redirectToPipe(std::array<int, 2>& ends) {
    ASSERT_EQ(::pipe(ends.data()), 0);
    ASSERT_EQ(::dup2(ends[1], STDERR_FILENO), STDERR_FILENO);
}

TEST(StandardError, NeverBlocksAndLeavesThePipeOfOthersAsItIs) {
    inChildProcess([] {
        std::array<int, 2> ends{};
        redirectToPipe(ends);
        Rynveld::makeStandardErrorNonBlocking();
        EXPECT_FALSE(blocks(STDERR_FILENO));
        EXPECT_TRUE(blocks(ends[1]));
    });
}

TEST(StandardError, NeverBlocksOnThePipeOfAnotherUser) {
    inChildProcess([] {
        std::array<int, 2> ends{};
        redirectToPipe(ends);
        ASSERT_EQ(::fchmod(ends[1], 0), 0);
        constexpr uid_t nobody = 65534;
        const uid_t own = ::geteuid();
        // Whoever is not root may not open it either.
        EXPECT_TRUE(own != 0 || ::seteuid(nobody) == 0);
        Rynveld::makeStandardErrorNonBlocking();
        EXPECT_TRUE(own != 0 || ::seteuid(own) == 0);
        EXPECT_FALSE(blocks(STDERR_FILENO));
    });
}

} // namespace
} // namespace RynvelTest
