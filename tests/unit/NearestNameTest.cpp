// SPDX-License-Identifier: MIT
#include "NearestName.h"

#include <gtest/gtest.h>

namespace RynvelTest {
namespace {

using Common::didYouMean;
using Common::nearestNames;
using Names = std::vector<std::string>;

TEST(NearestNames, DifferByOneChangedMissingExtraOrSwappedLetter) {
    for (const char* const word : {"reed", "rad", "reaad", "erad", "read"}) {
        EXPECT_EQ(nearestNames(word, {"write", "read"}), Names{"read"}) << word;
    }
}

TEST(NearestNames, IncludeAllNamesWithTheSmallestDifference) {
    EXPECT_EQ(nearestNames("CR0", {"CR12", "CR1", "SR0", "CR"}), (Names{"CR1", "SR0", "CR"}));
}

TEST(NearestNames, DifferByAtMostTwoLetters) {
    EXPECT_EQ(nearestNames("abcd", {"abxy"}), Names{"abxy"});
    EXPECT_EQ(nearestNames("abcd", {"axyz"}), Names{});
}

TEST(NearestNames, MustShareALetterWithTheWord) {
    EXPECT_EQ(nearestNames("ab", {"xy", "ax"}), Names{"ax"});
    EXPECT_EQ(nearestNames("a", {"b"}), Names{});
    EXPECT_EQ(nearestNames("", {"a"}), Names{});
}

TEST(NearestNames, AreJoinedWithOr) {
    EXPECT_EQ(Common::alternatives({}), "");
    EXPECT_EQ(Common::alternatives({"A"}), "A");
    EXPECT_EQ(Common::alternatives({"A", "B"}), "A or B");
    EXPECT_EQ(Common::alternatives({"A", "B", "C"}), "A, B or C");
}

TEST(NearestNames, AreSuggestedInAQuestion) {
    EXPECT_EQ(didYouMean({}), "");
    EXPECT_EQ(didYouMean({"A"}), "did you mean 'A'?");
    EXPECT_EQ(didYouMean({"A", "B"}), "did you mean 'A' or 'B'?");
    EXPECT_EQ(didYouMean({"A", "B", "C"}), "did you mean 'A', 'B' or 'C'?");
}

} // namespace
} // namespace RynvelTest
