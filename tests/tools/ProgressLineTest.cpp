// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include "ProgressBar.h"

namespace RynvelTest {
namespace {

using Rynvelctl::progressLine;

TEST(ProgressLine, ShowsTheShareThatIsDone) {
    EXPECT_EQ(progressLine("map32", 0, 8, 23), "map32 [........]   0 %");
    EXPECT_EQ(progressLine("map32", 2, 8, 23), "map32 [##......]  25 %");
    EXPECT_EQ(progressLine("map32", 7, 8, 23), "map32 [#######.]  87 %");
    EXPECT_EQ(progressLine("map32", 8, 8, 23), "map32 [########] 100 %");
}

TEST(ProgressLine, IsShorterThanALineOfTheTerminal) {
    for (std::size_t columns = 0; columns < 100; ++columns) {
        EXPECT_LT(progressLine("map32", 1, 3, columns).size(), std::max<std::size_t>(columns, 1));
    }
    EXPECT_EQ(progressLine("map32", 1, 3, 200).size(), std::string("map32 [] ").size() + 40 + 5);
    EXPECT_EQ(progressLine("map32", 1, 3, 10), " 33 %");
}

} // namespace
} // namespace RynvelTest
