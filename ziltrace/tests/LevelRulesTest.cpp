// SPDX-License-Identifier: MIT
#include "LevelRules.h"

#include <gtest/gtest.h>

using ziltrace::LevelRules;
using ziltrace::matches;

namespace {

TEST(Pattern, MatchesOnlyTheWholeNameWithoutWildcards) {
    EXPECT_TRUE(matches("Rynvel.Mmap", "Rynvel.Mmap"));
    EXPECT_FALSE(matches("Rynvel.Mma", "Rynvel.Mmap"));
    EXPECT_FALSE(matches("Rynvel.Mmap2", "Rynvel.Mmap"));
    EXPECT_FALSE(matches("ynvel.Mmap", "Rynvel.Mmap"));
    EXPECT_FALSE(matches("", "Rynvel.Mmap"));
}

TEST(Pattern, IsCaseSensitive) { EXPECT_FALSE(matches("rynvel.*", "Rynvel.Mmap")); }

TEST(Pattern, HasNoOtherSpecialCharacters) {
    EXPECT_FALSE(matches("Rynvel.Mmap", "Rynvel_Mmap"));
    EXPECT_TRUE(matches("a[b]", "a[b]"));
    EXPECT_FALSE(matches("a[b]", "ab"));
}

TEST(Pattern, MatchesAnyNumberOfCharactersWithAStar) {
    EXPECT_TRUE(matches("*", ""));
    EXPECT_TRUE(matches("*", "Rynvel.Mmap"));
    EXPECT_TRUE(matches("Rynvel.*", "Rynvel."));
    EXPECT_TRUE(matches("Rynvel.*", "Rynvel.Mmap"));
    EXPECT_FALSE(matches("Rynvel.*", "Rynvel"));
    EXPECT_TRUE(matches("*Interrupt", "Rynvel.TyvonInterrupt"));
    EXPECT_FALSE(matches("*Interrupt", "Rynvel.TyvonInterrupts"));
    EXPECT_TRUE(matches("a**b", "ab"));
}

TEST(Pattern, MatchesTheRestOfThePatternAfterAStar) {
    EXPECT_TRUE(matches("*ab*ab", "abxababab"));
    EXPECT_TRUE(matches("*a?c", "abcabdabc"));
    EXPECT_FALSE(matches("*ab*ac", "abab"));
}

TEST(Pattern, MatchesExactlyOneCharacterWithAQuestionMark) {
    EXPECT_TRUE(matches("?map", "Mmap"));
    EXPECT_FALSE(matches("?map", "map"));
    EXPECT_FALSE(matches("?map", "MMmap"));
    EXPECT_FALSE(matches("map?", "map"));
}

TEST(LevelRules, ReturnNoLevelWithoutAMatchingRule) {
    LevelRules rules;
    EXPECT_EQ(rules.levelFor("A"), std::nullopt);
    rules.add({"B", 5});
    EXPECT_EQ(rules.levelFor("A"), std::nullopt);
}

TEST(LevelRules, ApplyTheLastMatchingRule) {
    LevelRules rules;
    rules.add({"A.*", 5});
    rules.add({"A.b", 2});
    EXPECT_EQ(rules.levelFor("A.b"), 2);
    EXPECT_EQ(rules.levelFor("A.c"), 5);
    rules.add({"*", 7});
    EXPECT_EQ(rules.levelFor("A.b"), 7);
}

TEST(LevelRules, MoveARepeatedRuleToTheEnd) {
    LevelRules rules;
    rules.add({"A.b", 2});
    rules.add({"A.*", 5});
    rules.add({"A.b", 3});
    EXPECT_EQ(rules.levelFor("A.b"), 3);
    EXPECT_EQ(rules.levelFor("A.c"), 5);
}

TEST(LevelRules, ReturnNoLevelAfterTheyAreCleared) {
    LevelRules rules;
    rules.add({"*", 7});
    rules.clear();
    EXPECT_EQ(rules.levelFor("A"), std::nullopt);
}

} // namespace
