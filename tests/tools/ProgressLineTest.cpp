// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include "ProgressBar.h"

namespace RynvelTest {
namespace {

using Rynvelctl::progressLine;

TEST(ProgressLine, ShowsThePercentage) {
    EXPECT_EQ(progressLine("map32", 0, 8, 25), "map32 [........]   0 %");
    EXPECT_EQ(progressLine("map32", 2, 8, 25), "map32 [##......]  25 %");
    EXPECT_EQ(progressLine("map32", 7, 8, 25), "map32 [#######.]  87 %");
    EXPECT_EQ(progressLine("map32", 8, 8, 25), "map32 [########] 100 %");
}

TEST(ProgressLine, LeavesRoomForWhatTheTerminalShowsAtCtrlC) {
    for (std::size_t columns = 0; columns < 100; ++columns) {
        EXPECT_LE(progressLine("map32", 1, 3, columns).size(), columns < 3 ? 0 : columns - 3);
    }
    EXPECT_EQ(progressLine("map32", 1, 3, 200).size(), std::string("map32 [] ").size() + 40 + 5);
    EXPECT_EQ(progressLine("map32", 1, 3, 10), " 33 %");
}

} // namespace
} // namespace RynvelTest
