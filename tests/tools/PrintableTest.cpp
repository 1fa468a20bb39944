// SPDX-License-Identifier: MIT
#include "Printable.h"

#include <gtest/gtest.h>

#include "Failure.h"
#include "Json.h"

namespace RynvelTest {
namespace {

using Rynvelctl::inSingleColumns;
using Rynvelctl::printable;
using Rynvelctl::printableLines;

TEST(PrintableText, HasNoControlCharacters) {
    EXPECT_EQ(printable("a\x1b[31m\tb\x7f\n"), "a?[31m?b??");
    EXPECT_EQ(printable(std::string("a\0b", 3)), "a?b");
    EXPECT_EQ(printableLines("a\x1b\nb\r\n"), "a?\nb?\n");
    EXPECT_EQ(Rynvelctl::errorLine("a\nb"), "rynvelctl: a?b\n");
}

TEST(PrintableText, HasNoControlCharactersBeyondAscii) {
    EXPECT_EQ(printable("a\u0080b\u009b31m\u009fc"), "a?b?31m?c");
    EXPECT_EQ(printableLines("a\u0085b\n"), "a?b\n");
    EXPECT_EQ(Rynvelctl::errorLine("\u009b31m"), "rynvelctl: ?31m\n");
}

TEST(PrintableText, HasNoCharacterThatReversesItsDirection) {
    for (const std::string control : {"\u061c", "\u200e", "\u200f", "\u202a", "\u202b", "\u202c", "\u202d", "\u202e",
                                      "\u2066", "\u2067", "\u2068", "\u2069"}) {
        EXPECT_EQ(printable('a' + control + 'b'), "a?b");
    }
}

TEST(PrintableText, KeepsAllOtherCharacters) {
    const std::string text = "~\u00a0\u00b5\u00e9\u061b\u061d\u200d\u2010\u2029\u202f\u2065\u206a\u6e29\U0001f600";
    EXPECT_EQ(printable(text), text);
}

TEST(PrintableText, ShowsBytesThatAreNotUtf8UnlessTheyAreControlCharactersOfLatin1) {
    EXPECT_EQ(printable("a\xe9z\xff"), "a\xe9z\xff");
    EXPECT_EQ(printable("a\x9b\x33m"), "a?3m");
    // A lax decoder would decode the first two sequences, which are overlong, as the control characters U+009B and
    // U+001B.
    EXPECT_EQ(printable("\xe0\x82\x9b"), "\xe0??");
    EXPECT_EQ(printable("\xc0\x9b"), "\xc0?");
    EXPECT_EQ(printable("\xf7\x8f\xbf\xbf"), "\xf7?\xbf\xbf");
    EXPECT_EQ(printable("a\xe6\xb8"), "a\xe6\xb8");
}

TEST(PrintableText, HasAQuestionMarkForACharacterOfUnknownWidth) {
    const std::string narrow = "a~\u00b5\u00e9\u03a9\u0416";
    EXPECT_EQ(inSingleColumns(narrow), narrow);
    EXPECT_EQ(inSingleColumns("\u6e29\u5ea6 \U0001f600"), "?? ?");
    EXPECT_EQ(inSingleColumns("e\u0301"), "e?");
    EXPECT_EQ(inSingleColumns("a\u00adb\u200bc"), "a?b?c");
    EXPECT_EQ(inSingleColumns("a\x1b\n\xe9"), "a???");
}

TEST(PrintableText, EscapesControlCharactersInJson) {
    EXPECT_EQ(Rynvelctl::jsonString("\x01\x7f\u009b\u202e\u6e29\"\\"),
              "\"\\u0001\\u007f\\u009b\\u202e\u6e29\\\"\\\\\"");
}

} // namespace
} // namespace RynvelTest
