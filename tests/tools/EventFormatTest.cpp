// SPDX-License-Identifier: MIT
#include "EventFormat.h"

#include <gtest/gtest.h>

#include "Failure.h"

namespace RynvelTest {
namespace {

using Rynvelctl::EventFormat;
using Rynvelctl::EventTexts;

const EventTexts event{"now", "dev", "0x4", "CTRL", "7", "6"};

std::string lineOf(const std::string& format) {
    return EventFormat(format, "watch", Rynvelctl::registerDirectives).line(event);
}

/** Returns the error message for a format of the command wait. */
std::string problemOf(const std::string& format) {
    try {
        const EventFormat accepted(format, "wait", Rynvelctl::interruptDirectives);
        return "";
    } catch (const Rynvelctl::Failure& failure) {
        EXPECT_EQ(failure.status(), Rynvelctl::ExitStatus::UsageError);
        return failure.what();
    }
}

TEST(EventFormat, ReplacesItsDirectives) {
    EXPECT_EQ(lineOf("%t %d %a %n %v %o"), "now dev 0x4 CTRL 7 6");
    EXPECT_EQ(lineOf("%v%v"), "77");
    EXPECT_EQ(lineOf("100%% of\t%%v"), "100% of\t%v");
    EXPECT_EQ(lineOf("no directive"), "no directive");
}

TEST(EventFormat, RefusesDirectivesThatTheCommandDoesNotHave) {
    const std::string hint = " is not a directive of wait (%t, %d, %v or %%)";
    EXPECT_EQ(problemOf("%t %d %v %%"), "");
    EXPECT_EQ(problemOf("%t %x"), "--format: '%x'" + hint);
    EXPECT_EQ(problemOf("%%%n"), "--format: '%n'" + hint);
    EXPECT_EQ(problemOf("%V"), "--format: '%V'" + hint);
    EXPECT_EQ(problemOf("% v"), "--format: '% '" + hint);
    EXPECT_EQ(problemOf("%\xC2\xB5s"), "--format: '%\xC2\xB5'" + hint);
}

TEST(EventFormat, RefusesAPercentSignAtTheEnd) {
    const std::string problem = "--format: the format ends with '%' (write %% for a percent sign)";
    EXPECT_EQ(problemOf("%"), problem);
    EXPECT_EQ(problemOf("%v%"), problem);
    EXPECT_EQ(problemOf("%%%"), problem);
    EXPECT_EQ(problemOf("%%"), "");
}

TEST(CommaSeparatedValues, AreInQuotationMarksIfTheyNeedThem) {
    EXPECT_EQ(Rynvelctl::csvLine({"t", "d", "a", "n", "v", ""}), "t,d,a,n,v,");
    EXPECT_EQ(Rynvelctl::csvLine({"", "a,b", "say \"x\"", "\"", "1\n2", "\r"}),
              ",\"a,b\",\"say \"\"x\"\"\",\"\"\"\",\"1\n2\",\"\r\"");
}

} // namespace
} // namespace RynvelTest
