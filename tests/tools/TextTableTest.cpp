// SPDX-License-Identifier: MIT
#include "TextTable.h"

#include <gtest/gtest.h>

namespace RynvelTest {
namespace {

using Rynvelctl::TextTable;
using Rows = std::vector<std::vector<std::string>>;

TEST(TextTable, AlignsItsColumns) {
    EXPECT_EQ(TextTable({{"a", "b", "c"}, {"long", "x", "y"}}).text(), "a     b  c\nlong  x  y");
    EXPECT_EQ(TextTable({}).text(), "");
}

TEST(TextTable, CountsCharactersRatherThanBytes) {
    EXPECT_EQ(TextTable({{"\xC2\xB5s", "1"}, {"ms", "2"}, {"\xE2\x82\xAC\xF0\x9F\x98\x80.", "3"}}).text(),
              "\xC2\xB5s   1\nms   2\n\xE2\x82\xAC\xF0\x9F\x98\x80.  3");
}

TEST(TextTable, EndsALineAfterItsLastCellWithText) {
    EXPECT_EQ(TextTable({{"a", "", ""}, {"long", "", "x"}, {"", "", ""}}).text(), "a\nlong    x\n");
}

TEST(TextTable, WrapsTheLastColumn) {
    const std::string longWord(40, 'w');
    EXPECT_EQ(TextTable({{"a", "one two three four five six seven eight"}, {"bb", "short"}}).text(40),
              "a   one two three four five six seven\n"
              "    eight\n"
              "bb  short");
    EXPECT_EQ(TextTable(Rows{{"a", "one " + longWord + " two"}}).text(10), "a  one\n   " + longWord + "\n   two");
    EXPECT_EQ(TextTable(Rows{{"a", "one two three four five six seven eight"}}).text(),
              "a  one two three four five six seven eight");
}

} // namespace
} // namespace RynvelTest
