// SPDX-License-Identifier: MIT
#include "TextEncoding.h"

#include <gtest/gtest.h>

namespace RynvelTest {
namespace {

using Maps::oneLine;
using Maps::toUtf8;

const std::string euroAndClef = "<\xE2\x82\xAC\xF0\x9D\x84\x9E>\n";

void expectText(const std::string& bytes, const std::string& text, bool isGuessed = false) {
    const Maps::Utf8Text converted = toUtf8(bytes);
    EXPECT_EQ(converted.text, text);
    EXPECT_EQ(converted.isGuessed, isGuessed);
}

TEST(TextEncoding, LeavesUtf8AsItIs) {
    expectText(euroAndClef, euroAndClef);
    expectText("", "");
}

TEST(TextEncoding, RemovesAByteOrderMark) { expectText("\xEF\xBB\xBF" + euroAndClef, euroAndClef); }

TEST(TextEncoding, ConvertsUtf16WithAByteOrderMark) {
    expectText(std::string("\xFE\xFF\0<\x20\xAC\xD8\x34\xDD\x1E\0>\0\n", 14), euroAndClef);
    expectText(std::string("\xFF\xFE<\0\xAC\x20\x34\xD8\x1E\xDD>\0\n\0", 14), euroAndClef);
}

TEST(TextEncoding, RecognizesUtf16ByItsFirstCharacter) {
    expectText(std::string("\0<\0a", 4), "<a");
    expectText(std::string("<\0a\0", 4), "<a");
}

TEST(TextEncoding, ReplacesAnIncompleteCharacterOfUtf16) {
    expectText(std::string("\xFE\xFF\xD8\x34\0a", 6), "\xEF\xBF\xBD"
                                                      "a");
    expectText(std::string("\xFE\xFF\xDD\x1E\0a", 6), "\xEF\xBF\xBD"
                                                      "a");
    expectText(std::string("\xFE\xFF\0a\xD8", 5), "a");
}

TEST(TextEncoding, ConvertsLatin1ThatIsDeclared) {
    const std::string declaration = "<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?>";
    expectText(declaration + "\xB5s", declaration + "\xC2\xB5s");
}

TEST(TextEncoding, TreatsEverythingElseAsLatin1) {
    expectText("<a>\xB5s</a>", "<a>\xC2\xB5s</a>", true);
    expectText("<a>\xE2\x82</a>", "<a>\xC3\xA2\xC2\x82</a>", true);
    expectText("<a>ISO-8859-1\xFF", "<a>ISO-8859-1\xC3\xBF", true);
    expectText("\xC3", "\xC3\x83", true);
    expectText("\xC0\x80", "\xC3\x80\xC2\x80", true);
    expectText("\x80\x80", "\xC2\x80\xC2\x80", true);
    expectText("\xF8\x80\x80\x80", "\xC3\xB8\xC2\x80\xC2\x80\xC2\x80", true);
}

TEST(OneLine, HasSingleSpaces) {
    EXPECT_EQ(oneLine("  a \t\r\n b\\nc \\n\x01 d\x7F "), "a b c d");
    EXPECT_EQ(oneLine(""), "");
    EXPECT_EQ(oneLine(" \\n "), "");
    EXPECT_EQ(oneLine("a\\"), "a\\");
}

} // namespace
} // namespace RynvelTest
