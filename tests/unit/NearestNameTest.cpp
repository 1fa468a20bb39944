// SPDX-License-Identifier: MIT
#include "NearestName.h"

#include <gtest/gtest.h>

namespace RynvelTest {
namespace {

using Common::nearestNames;
using Names = std::vector<std::string>;

TEST(NearestNames, HaveALetterThatIsChangedMissingTooManyOrSwapped) {
    for (const char* const word : {"reed", "rad", "reaad", "raed", "read"}) {
        EXPECT_EQ(nearestNames(word, {"write", "read"}), Names{"read"}) << word;
    }
}

TEST(NearestNames, AreAllThatDifferLeast) {
    EXPECT_EQ(nearestNames("CR0", {"CR12", "CR1", "SR0", "CR"}), (Names{"CR1", "SR0", "CR"}));
}

TEST(NearestNames, HaveTwoMistakesAtMost) {
    EXPECT_EQ(nearestNames("abcd", {"abxy"}), Names{"abxy"});
    EXPECT_EQ(nearestNames("abcd", {"axyz"}), Names{});
}

TEST(NearestNames, ShareALetterWithTheWord) {
    EXPECT_EQ(nearestNames("ab", {"xy", "ax"}), Names{"ax"});
    EXPECT_EQ(nearestNames("a", {"b"}), Names{});
    EXPECT_EQ(nearestNames("", {"a"}), Names{});
}

} // namespace
} // namespace RynvelTest
