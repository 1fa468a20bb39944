#include <cerrno>
#include <locale>

#include <gtest/gtest.h>
#include <rynvel.hpp>

#include "RecordingMutex.h"
#include "ScriptedOs.h"
#include "TraceRecorder.h"

namespace {

using namespace RynvelTest;

/** Writes thousands with separators and without leading digits of a kind that a trace has. */
class GroupingNumbers : public std::numpunct<char> {
protected:
    char do_thousands_sep() const override { return '\''; }
    std::string do_grouping() const override { return "\3"; }
};

TEST(TraceText, IsNotTouchedByTheProgramsGlobalLocale) {
    ScriptedOs os;
    Rynvel::Lseek<std::uint8_t> device("/dev/x", std::make_unique<RecordingMutex>(os.log()));
    const TraceRecorder recorder(6);
    const std::locale before = std::locale::global(std::locale(std::locale::classic(), new GroupingNumbers));
    os.memory.resize(20000);
    std::vector<std::uint8_t> values(10000);
    device.read(0x1000, values.data(), 10000, Rynvel::ByteOrder::Host);
    std::locale::global(before);
    EXPECT_EQ(recorder.lines(),
              EventLog{"Rynvel.Lseek 6 read ENTER Hex(address)=0x00001000, items=10000, byteOrder=Host"});
}

TEST(TraceText, OfEveryChannelStartsAtLevelThree) {
    const auto channels = ZilTraceControl::channels();
    EventLog names;
    for (const auto& channel : channels) {
        EXPECT_EQ(channel.constructedLevel, 3) << channel.name;
        names.push_back(channel.name);
    }
    EXPECT_EQ(std::count(names.begin(), names.end(), "Rynvel.Factory"), 1);
    EXPECT_EQ(std::count(names.begin(), names.end(), "Rynvel.PthreadMutex"), 1);
    EXPECT_EQ(std::count(names.begin(), names.end(), "Rynvel.Lseek"), 3);
}

} // namespace
