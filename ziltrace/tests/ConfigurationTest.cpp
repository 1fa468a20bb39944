// SPDX-License-Identifier: MIT
#include "Configuration.h"

#include <ostream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

using ziltrace::Configuration;
using ziltrace::LevelRule;
using ziltrace::parseConfiguration;
using ziltrace::SinkChoice;

namespace ziltrace {

static bool operator==(const LevelRule& left, const LevelRule& right) {
    return left.pattern == right.pattern && left.level == right.level;
}

} // namespace ziltrace

namespace {

Configuration parsed(const std::string& specification) {
    std::string error = "untouched";
    const auto configuration = parseConfiguration(specification, error);
    EXPECT_TRUE(configuration.has_value()) << error;
    EXPECT_EQ(error, "untouched");
    return configuration.value_or(Configuration{});
}

TEST(ConfigurationText, MayBeEmpty) {
    for (const char* specification : {"", " ", " \t "}) {
        EXPECT_TRUE(parsed(specification).rules.empty());
        EXPECT_FALSE(parsed(specification).sink.has_value());
    }
}

TEST(ConfigurationText, ListsLevelsInTheirOrder) {
    const std::vector<LevelRule> expected{{"*", 0}, {"Rynvel.Mmap", 7}, {"Rynvel.?io", 3}};
    EXPECT_EQ(parsed("*=0,Rynvel.Mmap=7,Rynvel.?io=3").rules, expected);
}

TEST(ConfigurationText, AcceptsEveryLevel) {
    for (int level = 0; level <= 7; ++level) {
        const std::vector<LevelRule> expected{{"A", level}};
        EXPECT_EQ(parsed("A=" + std::to_string(level)).rules, expected);
    }
}

TEST(ConfigurationText, AllowsBlanksAroundItemsPatternsAndValues) {
    const Configuration configuration = parsed(" A B = 1 ,\tC=2, sink = file: a b.log ");
    const std::vector<LevelRule> expected{{"A B", 1}, {"C", 2}};
    EXPECT_EQ(configuration.rules, expected);
    EXPECT_EQ(configuration.sink->path, " a b.log");
}

TEST(ConfigurationText, NamesTheSink) {
    EXPECT_EQ(parsed("sink=stderr").sink->kind, SinkChoice::Kind::Stderr);
    EXPECT_EQ(parsed("sink=syslog").sink->kind, SinkChoice::Kind::Syslog);
    EXPECT_EQ(parsed("sink=file:/tmp/a=b").sink->kind, SinkChoice::Kind::File);
    EXPECT_EQ(parsed("sink=file:/tmp/a=b").sink->path, "/tmp/a=b");
    EXPECT_FALSE(parsed("A=1").sink.has_value());
}

TEST(ConfigurationText, UsesTheLastSink) {
    EXPECT_EQ(parsed("sink=file:/tmp/a,A=3,sink=syslog").sink->kind, SinkChoice::Kind::Syslog);
}

struct Malformed {
    const char* specification;
    const char* error;
};

// GoogleTest uses the printed text in the names of the tests. Without this function, the names would contain addresses.
void PrintTo(const Malformed& malformed, std::ostream* stream) {
    *stream << ::testing::PrintToString(std::string(malformed.specification));
}

class MalformedConfigurationText : public ::testing::TestWithParam<Malformed> {};

TEST_P(MalformedConfigurationText, IsRejectedWithTheItemAndTheReason) {
    std::string error;
    EXPECT_FALSE(parseConfiguration(GetParam().specification, error).has_value());
    EXPECT_EQ(error, GetParam().error);
}

TEST_P(MalformedConfigurationText, IsRejectedBetweenGoodItems) {
    std::string error;
    const std::string specification = std::string("A=1,") + GetParam().specification + ",B=9";
    EXPECT_FALSE(parseConfiguration(specification, error).has_value());
    EXPECT_EQ(error.find("'B=9'"), std::string::npos) << "the error must name the first wrong item";
}

INSTANTIATE_TEST_SUITE_P(
    Forms, MalformedConfigurationText,
    ::testing::Values(
        Malformed{"A=8", "'A=8': level is not a number from 0 to 7"},
        Malformed{"A=9", "'A=9': level is not a number from 0 to 7"},
        Malformed{"A=-1", "'A=-1': level is not a number from 0 to 7"},
        Malformed{"A=10", "'A=10': level is not a number from 0 to 7"},
        Malformed{"A=07", "'A=07': level is not a number from 0 to 7"},
        Malformed{"A=high", "'A=high': level is not a number from 0 to 7"},
        Malformed{"A=3x", "'A=3x': level is not a number from 0 to 7"},
        Malformed{"A=/", "'A=/': level is not a number from 0 to 7"},
        Malformed{"A=", "'A=': level is not a number from 0 to 7"},
        Malformed{"A==3", "'A==3': level is not a number from 0 to 7"},
        Malformed{"=3", "'=3': empty channel pattern (the pattern * matches all channels)"},
        Malformed{" =3", "'=3': empty channel pattern (the pattern * matches all channels)"},
        Malformed{"A", "'A': neither PATTERN=LEVEL nor sink=SINK"},
        Malformed{"stderr", "'stderr': neither PATTERN=LEVEL nor sink=SINK"},
        Malformed{",", "'': empty item (remove a comma)"}, Malformed{"A=1,,B=2", "'': empty item (remove a comma)"},
        Malformed{"A=1,", "'': empty item (remove a comma)"},
        Malformed{"sink=", "'sink=': unknown sink (the sinks are stderr, syslog and file:PATH)"},
        Malformed{"sink=3", "'sink=3': unknown sink (the sinks are stderr, syslog and file:PATH)"},
        Malformed{"sink=stdout", "'sink=stdout': unknown sink (the sinks are stderr, syslog and file:PATH)"},
        Malformed{"sink=file", "'sink=file': unknown sink (the sinks are stderr, syslog and file:PATH)"},
        Malformed{"sink=Stderr", "'sink=Stderr': unknown sink (the sinks are stderr, syslog and file:PATH)"},
        Malformed{"sink=file:", "'sink=file:': no file name (give sink=file:PATH)"},
        Malformed{"sink=pipe,sink=stderr", "'sink=pipe': unknown sink (the sinks are stderr, syslog and file:PATH)"},
        Malformed{"A\nB=9", "'A\\nB=9': level is not a number from 0 to 7"}));

} // namespace
