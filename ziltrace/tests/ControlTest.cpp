// SPDX-License-Identifier: MIT
#include "ZilTraceControl.h"

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "support/TemporaryFile.h"
#include "support/TraceFixture.h"

using ZilTraceControl::ChannelState;

namespace {

class Control : public TraceFixture {
protected:
    static std::vector<ChannelState> statesOf(const std::string& name) {
        std::vector<ChannelState> states = ZilTraceControl::channels();
        const auto isOther = [&name](const ChannelState& state) { return state.name != name; };
        states.erase(std::remove_if(states.begin(), states.end(), isOther), states.end());
        return states;
    }

    static ZilTraceLevel highestEnabled(const ZilTrace& channel) {
        ZilTraceLevel level = -1;
        while (channel.isEnabled(level + 1)) {
            ++level;
        }
        return level;
    }
};

TEST_F(Control, KeepsTheLevelOfAChannelUntilAConfigurationNamesIt) {
    const ZilTrace channel("Control.A", 3, 256);
    EXPECT_EQ(highestEnabled(channel), 3);
    configure("Control.B=7");
    EXPECT_EQ(highestEnabled(channel), 3);
}

TEST_F(Control, ConfiguresChannelsThatExist) {
    const ZilTrace a("Control.A", 3, 256);
    const ZilTrace b("Control.B", 3, 256);
    configure("Control.*=6,*.B=1");
    EXPECT_EQ(highestEnabled(a), 6);
    EXPECT_EQ(highestEnabled(b), 1);
}

TEST_F(Control, ConfiguresLaterChannels) {
    configure("Control.*=6");
    const ZilTrace channel("Control.A", 3, 256);
    EXPECT_EQ(highestEnabled(channel), 6);
}

TEST_F(Control, AddsToTheConfiguration) {
    const TemporaryFile file;
    ZilTrace a("Control.A", 3, 256);
    const ZilTrace b("Control.B", 3, 256);
    configure("*=6,sink=file:" + file.path());
    configure("Control.A=7");
    EXPECT_EQ(highestEnabled(a), 7);
    EXPECT_EQ(highestEnabled(b), 6);
    a.logMsg(1, anyHeader, "text");
    EXPECT_EQ(file.lines().size(), 1U);
}

TEST_F(Control, ConfiguresAllChannelsWithTheName) {
    const ZilTrace first("Control.A", 3, 256);
    const ZilTrace second("Control.A", 5, 256);
    configure("Control.A=6");
    EXPECT_EQ(highestEnabled(first), 6);
    EXPECT_EQ(highestEnabled(second), 6);
    ZilTraceControl::resetLevels();
    EXPECT_EQ(highestEnabled(first), 3);
    EXPECT_EQ(highestEnabled(second), 5);
}

TEST_F(Control, ChangesNothingForAMalformedConfiguration) {
    const TemporaryFile file;
    ZilTrace channel("Control.A", 3, 256);
    configure("sink=file:" + file.path());
    std::string error;
    EXPECT_FALSE(ZilTraceControl::configure("Control.A=6,sink=stderr,Control.A=8", error));
    EXPECT_EQ(error, "'Control.A=8': level is not a number from 0 to 7");
    EXPECT_EQ(highestEnabled(channel), 3);
    channel.logMsg(1, anyHeader, "text");
    EXPECT_EQ(file.lines().size(), 1U);
}

TEST_F(Control, ChangesNothingIfAFileCannotBeOpened) {
    const ZilTrace channel("Control.A", 3, 256);
    std::string error;
    EXPECT_FALSE(ZilTraceControl::configure("Control.A=6,sink=file:/nonexistent/trace.log", error));
    EXPECT_EQ(error, "'sink=file:/nonexistent/trace.log': No such file or directory");
    EXPECT_EQ(highestEnabled(channel), 3);
}

TEST_F(Control, OpensOnlyTheLastSinkOfAConfiguration) {
    const TemporaryFile file;
    configure("sink=file:" + file.path() + ",sink=stderr");
    EXPECT_FALSE(file.exists());
}

TEST_F(Control, OverridesEarlierItemsWithSetLevel) {
    const ZilTrace channel("Control.A", 3, 256);
    EXPECT_TRUE(ZilTraceControl::setLevel("Control.?", 0));
    EXPECT_EQ(highestEnabled(channel), 0);
    EXPECT_TRUE(ZilTraceControl::setLevel("*", 7));
    EXPECT_EQ(highestEnabled(channel), 7);
    const ZilTrace later("Control.Later", 3, 256);
    EXPECT_EQ(highestEnabled(later), 7);
}

TEST_F(Control, RejectsInSetLevelWhatTheSyntaxRejects) {
    const ZilTrace channel("Control.A", 3, 256);
    EXPECT_FALSE(ZilTraceControl::setLevel("", 5));
    EXPECT_FALSE(ZilTraceControl::setLevel("*", -1));
    EXPECT_FALSE(ZilTraceControl::setLevel("*", 8));
    EXPECT_EQ(highestEnabled(channel), 3);
}

TEST_F(Control, SetsTheLevelOfAChannelThatTheSyntaxCannotName) {
    const ZilTrace channel("sink", 3, 256);
    EXPECT_TRUE(ZilTraceControl::setLevel("sink", 7));
    EXPECT_EQ(highestEnabled(channel), 7);
}

TEST_F(Control, ListsChannelsInTheOrderOfConstruction) {
    const std::size_t before = ZilTraceControl::channels().size();
    const ZilTrace b("Control.B", 3, 256);
    const ZilTrace a("Control.A", 5, 256);
    configure("Control.B=6");
    const std::vector<ChannelState> states = ZilTraceControl::channels();
    ASSERT_EQ(states.size(), before + 2);
    EXPECT_EQ(states[before].name, "Control.B");
    EXPECT_EQ(states[before].constructedLevel, 3);
    EXPECT_EQ(states[before].level, 6);
    EXPECT_EQ(states[before + 1].name, "Control.A");
    EXPECT_EQ(states[before + 1].level, 5);
}

TEST_F(Control, RemovesChannelsThatAreDestroyedInAnyOrder) {
    auto first = std::make_unique<ZilTrace>("Control.Many", 3, 256);
    auto second = std::make_unique<ZilTrace>("Control.Many", 4, 256);
    auto third = std::make_unique<ZilTrace>("Control.Many", 5, 256);
    second.reset();
    EXPECT_EQ(statesOf("Control.Many").size(), 2U);
    first.reset();
    EXPECT_TRUE(ZilTraceControl::setLevel("Control.Many", 7));
    EXPECT_EQ(highestEnabled(*third), 7);
    third.reset();
    EXPECT_TRUE(statesOf("Control.Many").empty());
}

TEST_F(Control, CopiesTheNameOfAChannel) {
    std::string name = "Control.Copied";
    const ZilTrace channel(name.c_str(), 3, 256);
    name.assign(name.size(), 'x');
    EXPECT_EQ(statesOf("Control.Copied").size(), 1U);
}

TEST_F(Control, ReturnsThePreviousSinkFromSetSink) {
    RecordingSink first;
    RecordingSink second;
    EXPECT_EQ(ZilTraceControl::setSink(&first), nullptr);
    EXPECT_EQ(ZilTraceControl::setSink(&second), &first);
    EXPECT_EQ(ZilTraceControl::setSink(nullptr), &second);
    EXPECT_EQ(ZilTraceControl::setSink(nullptr), nullptr);
}

TEST_F(Control, ReplacesTheConfiguredSinkWithASinkOfTheProgram) {
    const TemporaryFile file;
    ZilTrace channel("Control.A", 3, 256);
    RecordingSink sink;
    ZilTraceControl::setSink(&sink);
    configure("sink=file:" + file.path());
    channel.logMsg(1, anyHeader, "to the program");
    EXPECT_TRUE(file.lines().empty());
    ZilTraceControl::setSink(nullptr);
    channel.logMsg(1, anyHeader, "to the file");
    EXPECT_EQ(sink.texts(), std::vector<std::string>{"to the program"});
    EXPECT_EQ(file.lines().size(), 1U);
}

} // namespace
