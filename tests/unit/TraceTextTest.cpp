// SPDX-License-Identifier: MIT
#include <rynvel.hpp>

#include <cerrno>
#include <locale>
#include <map>

#include <gtest/gtest.h>

#include "RecordingMutex.h"
#include "ScriptedOs.h"
#include "TraceRecorder.h"

namespace {

using namespace RynvelTest;

/** A locale facet for numbers with thousands separators, which no trace may contain. */
class GroupingNumbers : public std::numpunct<char> {
protected:
    char do_thousands_sep() const override { return '\''; }
    std::string do_grouping() const override { return "\3"; }
};

TEST(TraceText, IsIndependentOfTheGlobalLocale) {
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

TEST(TraceChannels, StartAtLevelThreeAndAreOneForEachClassOrForEachOfItsWidths) {
    const std::map<std::string, int> expected{{"Rynvel.Connection", 1}, {"Rynvel.Factory", 1},
                                              {"Rynvel.FpgaSpi", 1},    {"Rynvel.Lseek", 3},
                                              {"Rynvel.Mmap", 2},       {"Rynvel.PthreadMutex", 1},
                                              {"Rynvel.Remote", 3},     {"Rynvel.RemoteDeviceConnection", 1},
                                              {"Rynvel.Tyvon", 2},      {"Rynvel.TyvonInterrupt", 2},
                                              {"Rynvel.Uio", 2}};
    std::map<std::string, int> channels;
    for (const auto& channel : ZilTraceControl::channels()) {
        EXPECT_EQ(channel.constructedLevel, 3) << channel.name;
        ++channels[channel.name];
    }
    EXPECT_EQ(channels, expected);
}

} // namespace
