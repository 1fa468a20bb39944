// SPDX-License-Identifier: MIT
#include "LineFormat.h"

#include <array>
#include <chrono>
#include <ctime>
#include <string>

#include <gtest/gtest.h>

using ziltrace::escaped;
using ziltrace::formatLine;
using ziltrace::formatMessage;
using ziltrace::formatTime;
using ZilTraceControl::Kind;
using ZilTraceControl::Record;

namespace {

using std::chrono::microseconds;
using std::chrono::nanoseconds;
using std::chrono::seconds;
using TimePoint = std::chrono::system_clock::time_point;

constexpr ZilTraceHeader header{"cppsrc/RynvelMmap", 42, "read"};
constexpr seconds newYear2024{1704067200};

Record recordOf(Kind kind, const char* text) {
    return {kind, "Rynvel.Mmap", 7, 256, &header, text, TimePoint(newYear2024 + microseconds(1234)), 4711};
}

std::string viaCalendarOfTheCLibrary(std::time_t time) {
    std::tm fields{};
    gmtime_r(&time, &fields);
    std::array<char, 64> text{};
    std::strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%S.000000Z", &fields);
    return text.data();
}

TEST(LineFormat, FormatsAMessage) {
    EXPECT_EQ(formatLine(recordOf(Kind::Message, "width=4")),
              "2024-01-01T00:00:00.001234Z 4711 Rynvel.Mmap 7 MSG cppsrc/RynvelMmap:42 read: width=4\n");
}

TEST(LineFormat, FormatsAnEntryWithText) {
    EXPECT_EQ(formatLine(recordOf(Kind::Enter, "offset=0x00000010")),
              "2024-01-01T00:00:00.001234Z 4711 Rynvel.Mmap 7 ENTER cppsrc/RynvelMmap:42 read: offset=0x00000010\n");
}

TEST(LineFormat, EndsWithTheFunctionForAnEntryWithoutText) {
    EXPECT_EQ(formatLine(recordOf(Kind::Enter, nullptr)),
              "2024-01-01T00:00:00.001234Z 4711 Rynvel.Mmap 7 ENTER cppsrc/RynvelMmap:42 read\n");
}

TEST(LineFormat, DistinguishesAnEmptyTextFromNoText) {
    EXPECT_EQ(formatMessage(recordOf(Kind::Enter, "")), "4711 Rynvel.Mmap 7 ENTER cppsrc/RynvelMmap:42 read: ");
}

TEST(LineFormat, WritesQuestionMarksForNullPointersInTheHeader) {
    const ZilTraceHeader empty{nullptr, -1, nullptr};
    Record record = recordOf(Kind::Message, "x");
    record.header = &empty;
    EXPECT_EQ(formatMessage(record), "4711 Rynvel.Mmap 7 MSG ?:-1 ?: x");
}

TEST(LineFormat, EscapesControlCharactersInEveryField) {
    const ZilTraceHeader strange{"a\nb.cpp", 1, "f\rg"};
    const Record record{Kind::Message, "C\tD", 1, 0, &strange, "x\ny", TimePoint(), 1};
    EXPECT_EQ(formatMessage(record), "1 C\\tD 1 MSG a\\nb.cpp:1 f\\rg: x\\ny");
}

TEST(Escaping, WritesControlCharactersAsSequences) {
    EXPECT_EQ(escaped("a\nb\rc\td"), "a\\nb\\rc\\td");
    EXPECT_EQ(escaped(std::string("\0\x01\x1b[2J\x1f\x7f", 8)), "\\x00\\x01\\x1b[2J\\x1f\\x7f");
}

TEST(Escaping, DoublesTheBackslash) { EXPECT_EQ(escaped("a\\nb"), "a\\\\nb"); }

TEST(Escaping, LeavesPrintableAndMultibyteCharactersAlone) {
    EXPECT_EQ(escaped(" ~\"'%s"), " ~\"'%s");
    EXPECT_EQ(escaped("\xc3\xa5\xff"), "\xc3\xa5\xff");
}

TEST(TimeStamp, AgreesWithTheCalendarOfTheCLibraryOnEveryDayUntil2037) {
    for (std::time_t day = 0; day < 24837; ++day) {
        const std::time_t time = day * 86400 + day % 86400;
        ASSERT_EQ(formatTime(TimePoint(seconds(time))), viaCalendarOfTheCLibrary(time));
    }
}

TEST(TimeStamp, ShowsTheLastSecondOfADayAndItsMicroseconds) {
    EXPECT_EQ(formatTime(TimePoint(newYear2024 - nanoseconds(1))), "2023-12-31T23:59:59.999999Z");
}

TEST(TimeStamp, CountsNoLeapDayInTheYear2100) {
    EXPECT_EQ(formatTime(TimePoint(seconds(4107542399))), "2100-02-28T23:59:59.000000Z");
    EXPECT_EQ(formatTime(TimePoint(seconds(4107542400))), "2100-03-01T00:00:00.000000Z");
}

TEST(TimeStamp, CoversTimesBefore1970) {
    EXPECT_EQ(formatTime(TimePoint(microseconds(-1))), "1969-12-31T23:59:59.999999Z");
}

} // namespace
