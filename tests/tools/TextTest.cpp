// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include "CommandTimeout.h"
#include "Failure.h"
#include "Formats.h"
#include "Json.h"
#include "MapWords.h"
#include "NumberArguments.h"
#include "RegisterRange.h"
#include "RemoteServer.h"
#include "Report.h"
#include "Target.h"
#include "TimeText.h"

namespace RynvelTest {
namespace {

using namespace Rynvelctl;
using Common::AccessMethod;
using Common::DeviceTypeInfo;

constexpr DeviceTypeInfo seekable16{"Lseek16", AccessMethod::Seekable, 16, false, false, 2};
constexpr DeviceTypeInfo mapped32{"Uio32", AccessMethod::Mapped, 32, true, true, 1};
constexpr DeviceTypeInfo remote8{"Remote8", AccessMethod::Remote, 8, true, false, 1};
constexpr DeviceTypeInfo remote32{"Remote32", AccessMethod::Remote, 32, true, false, 1};
constexpr DeviceTypeInfo seekable8{"Lseek8", AccessMethod::Seekable, 8, false, false, 1};

/** Returns the message of a call that fails with a usage error. */
template <typename Call>
std::string complaint(const Call& call) {
    try {
        call();
    } catch (const Failure& failure) {
        EXPECT_EQ(failure.status(), ExitStatus::UsageError);
        return failure.what();
    }
    return "no complaint";
}

TEST(MapWords, AreThoseOfTheFileFormat) {
    EXPECT_EQ(wordsFor(Maps::Access::WriteOnce), "write-once");
    EXPECT_EQ(wordsFor(Maps::Access::ReadWriteOnce), "read-write-once");
    EXPECT_EQ(wordFor(Maps::ReadAction::Set), "set");
    EXPECT_EQ(wordFor(Maps::ReadAction::Modify), "modify");
    EXPECT_EQ(wordFor(Maps::ReadAction::ModifyExternal), "modifyExternal");
    EXPECT_EQ(wordFor(Maps::ModifiedWrite::OneToToggle), "oneToToggle");
    EXPECT_EQ(wordFor(Maps::ModifiedWrite::ZeroToClear), "zeroToClear");
    EXPECT_EQ(wordFor(Maps::ModifiedWrite::ZeroToSet), "zeroToSet");
    EXPECT_EQ(wordFor(Maps::ModifiedWrite::ZeroToToggle), "zeroToToggle");
    EXPECT_EQ(wordFor(Maps::ModifiedWrite::Clear), "clear");
    EXPECT_EQ(wordFor(Maps::ModifiedWrite::Set), "set");
    EXPECT_EQ(wordFor(Maps::ModifiedWrite::Modify), "modify");
    EXPECT_EQ(wordFor(Maps::Usage::Read), "read");
    EXPECT_EQ(wordFor(Maps::Usage::Write), "write");
    EXPECT_EQ(wordFor(Maps::Usage::ReadWrite), "read-write");
}

TEST(MapWords, DescribeTheValuesThatMayBeWritten) {
    Maps::WriteConstraint constraint{};
    constraint.kind = Maps::WriteConstraint::Kind::WriteAsRead;
    EXPECT_EQ(wordsFor(constraint), "the value that was read");
    constraint.kind = Maps::WriteConstraint::Kind::EnumeratedValues;
    EXPECT_EQ(wordsFor(constraint), "the values with a name");
}

TEST(Numbers, AreDecimalHexadecimalOrBinary) {
    EXPECT_EQ(parseNumber("n", "0"), 0U);
    EXPECT_EQ(parseNumber("n", "4294967295"), 4294967295U);
    EXPECT_EQ(parseNumber("n", "0xfF"), 255U);
    EXPECT_EQ(parseNumber("n", "0XFFFFFFFF"), 4294967295U);
    EXPECT_EQ(parseNumber("n", "0b101"), 5U);
    EXPECT_EQ(parseNumber("n", "0B1"), 1U);
}

TEST(Numbers, AreRefusedWithAnyOtherCharacter) {
    for (const std::string text :
         {"", " 1", "1 ", "+1", "-1", "1x", "x1", "0x", "0b", "0b2", "0xg", "0x-1", "0x0x1", "1e3", "1.0", "ten"}) {
        EXPECT_EQ(complaint([&] { parseNumber("value", text); }),
                  "value '" + text + "' is not a number (decimal, hexadecimal with 0x, or binary with 0b)");
    }
}

TEST(Numbers, CannotHaveALeadingZeroThatMayMeanAnOctalNumber) {
    EXPECT_EQ(parseNumber("n", "0x010"), 16U);
    EXPECT_EQ(parseNumber("n", "0b010"), 2U);
    EXPECT_EQ(complaint([] { parseNumber("value", "010"); }), "value '010' is ambiguous (write 10 or 0x8)");
    EXPECT_EQ(complaint([] { parseNumber("mask", "0017"); }), "mask '0017' is ambiguous (write 17 or 0xf)");
    EXPECT_EQ(complaint([] { parseNumber("address", "08"); }), "address '08' is ambiguous (write 8)");
    EXPECT_EQ(complaint([] { parseNumber("count", "00"); }), "count '00' is ambiguous (write 0)");
}

TEST(Numbers, FitIn32Bits) {
    for (const std::string text : {"4294967296", "0x100000000", "99999999999999999999"}) {
        EXPECT_EQ(complaint([&] { parseNumber("address", text); }), "address " + text + " does not fit in 32 bits");
    }
}

TEST(Numbers, ValuesFitInTheRegister) {
    EXPECT_EQ(parseValue("value", "255", 8), 255U);
    EXPECT_EQ(parseValue("value", "0xffff", 16), 0xFFFFU);
    EXPECT_EQ(parseValue("value", "0xffffffff", 32), 0xFFFFFFFFU);
    EXPECT_EQ(complaint([] { parseValue("value", "256", 8); }), "value 256 does not fit in 8 bits");
    EXPECT_EQ(complaint([] { parseValue("mask", "0x10000", 16); }), "mask 0x10000 does not fit in 16 bits");
}

TEST(Numbers, CountsArePositiveAndBounded) {
    EXPECT_EQ(parseCount("count", "1"), 1U);
    EXPECT_EQ(parseCount("count", "7", 7), 7U);
    EXPECT_EQ(complaint([] { parseCount("count", "0"); }), "the count must be greater than 0");
    EXPECT_EQ(complaint([] { parseCount("count", "8", 7); }), "count 8 exceeds the maximum of 7");
}

TEST(Numbers, AreShownWithTheDigitsOfTheRegister) {
    EXPECT_EQ(hexadecimal(0xA, 8), "0x0a");
    EXPECT_EQ(hexadecimal(0xABC, 16), "0x0abc");
    EXPECT_EQ(hexadecimal(0xABC), "0x00000abc");
    EXPECT_EQ(hexadecimalDigits(0xFF, 8), "ff");
}

TEST(Durations, AreNumbersWithUnits) {
    using std::chrono::milliseconds;
    EXPECT_EQ(parseDuration("t", "100ms"), milliseconds(100));
    EXPECT_EQ(parseDuration("t", "2s"), milliseconds(2'000));
    EXPECT_EQ(parseDuration("t", "3m"), milliseconds(180'000));
    EXPECT_EQ(parseDuration("t", "1.5h"), milliseconds(5'400'000));
    EXPECT_EQ(complaint([] { parseDuration("timeout", "5"); }),
              "--timeout: '5' has no unit (ms, s, m or h, for example 1.5s)");
    for (const std::string text :
         {"", "s", "5 s", "-1s", "1.0005s", "25h", "5sec", "1000000m", "25h", "99999999999s"}) {
        EXPECT_EQ(complaint([&] { parseDuration("timeout", text); }),
                  "--timeout: '" + text +
                      "' is not a time (a number with the unit ms, s, m or h, in whole milliseconds, at most one day)");
    }
    EXPECT_EQ(complaint([] { parsePositiveDuration("interval", "0s"); }),
              "--interval: the time must be greater than 0");
}

TEST(Durations, ShowPointsInTimeInUtcWithMicroseconds) {
    using std::chrono::microseconds;
    EXPECT_EQ(timeStamp(std::chrono::system_clock::time_point(microseconds(951'782'400'000'042))),
              "2000-02-29T00:00:00.000042Z");
}

Target target(const char* name, const DeviceTypeInfo& type) { return {{name, "/dev/file", 0, {}}, type, std::nullopt}; }

const Target mapped = target("mapped", mapped32);
const Target seekable = target("seekable", seekable16);
const Target served = target("served", remote32);

TEST(RegisterRanges, ConvertByteAddressesToAddressesOfTheDevice) {
    EXPECT_EQ(RegisterRange(mapped, AddressUnit::Bytes, "0x10").deviceAddress(), 4U);
    EXPECT_EQ(RegisterRange(mapped, AddressUnit::Bytes, "0xfffffffc").deviceAddress(), 0x3FFFFFFFU);
    const RegisterRange range(seekable, AddressUnit::Bytes, "0x10");
    EXPECT_EQ(range.deviceAddress(), 0x10U);
    EXPECT_EQ(range.index(), 8U);
}

TEST(RegisterRanges, ConvertIndexesToAddressesOfTheDevice) {
    EXPECT_EQ(RegisterRange(mapped, AddressUnit::Registers, "5").deviceAddress(), 5U);
    EXPECT_EQ(RegisterRange(seekable, AddressUnit::Registers, "5").deviceAddress(), 10U);
}

TEST(RegisterRanges, RefuseUnalignedAddresses) {
    EXPECT_EQ(complaint([] { RegisterRange(mapped, AddressUnit::Bytes, "0x12"); }),
              "mapped: address 0x12 is not a multiple of 4 (32-bit registers)");
    EXPECT_EQ(complaint([] { RegisterRange(seekable, AddressUnit::Bytes, "3"); }),
              "seekable: address 3 is not a multiple of 2 (16-bit registers)");
    EXPECT_EQ(RegisterRange(target("dsp", seekable8), AddressUnit::Bytes, "3").deviceAddress(), 3U);
}

TEST(RegisterRanges, RefuseRegistersOutsideThe32BitAddressRange) {
    EXPECT_EQ(complaint([] { RegisterRange(seekable, AddressUnit::Registers, "0x80000000"); }),
              "seekable: register 2147483648 is outside the 32-bit address range");
    const RegisterRange last(mapped, AddressUnit::Bytes, "0xfffffffc");
    EXPECT_EQ(last.resized(1).count(), 1U);
    EXPECT_EQ(complaint([&] { last.resized(2); }),
              "mapped: 2 registers from 0xfffffffc extend beyond the 32-bit address range");
}

TEST(RegisterRanges, RefuseToGuessTheAddressUnitOfARemoteRow) {
    const std::string problem =
        "served: you can use only address 0, because the type on the server is unknown (give the type with --type)";
    const RegisterRange first(served, AddressUnit::Bytes, "0");
    EXPECT_EQ(first.deviceAddress(), 0U);
    EXPECT_EQ(complaint([] { RegisterRange(served, AddressUnit::Bytes, "4"); }), problem);
    EXPECT_EQ(complaint([&] { first.resized(2); }), problem);
    EXPECT_EQ(complaint([] { RegisterRange(served, AddressUnit::Registers, "1"); }), problem);
    EXPECT_EQ(RegisterRange(target("served", remote8), AddressUnit::Bytes, "5").deviceAddress(), 5U);
}

TEST(RegisterRanges, RefuseRegistersOutsideTheMap) {
    const auto requireInside = [](std::optional<std::uint32_t> mapSize, const char* address, std::uint32_t count) {
        RegisterRange(mapped, AddressUnit::Bytes, address).resized(count).requireInside(mapSize);
    };
    requireInside(4096, "0xffc", 1);
    requireInside(4096, "0", 1024);
    requireInside(std::nullopt, "0x1000", 1024);
    EXPECT_EQ(complaint([&] { requireInside(4096, "0x1000", 1); }),
              "mapped: register 0x00001000 is outside the map of 4096 bytes");
    EXPECT_EQ(complaint([&] { requireInside(4096, "4", 1024); }),
              "mapped: 1024 registers from 0x00000004 extend beyond the map of 4096 bytes");
    EXPECT_EQ(complaint([&] { requireInside(4095, "0xffc", 1); }),
              "mapped: register 0x00000ffc is outside the map of 4095 bytes");
}

TEST(RegisterRanges, CountFromTheirFirstRegister) {
    const RegisterRange third = RegisterRange(seekable, AddressUnit::Bytes, "0x10").resized(5)[3];
    EXPECT_EQ(third.count(), 1U);
    EXPECT_EQ(third.address(), 0x16U);
    EXPECT_EQ(third.index(), 11U);
    EXPECT_EQ(third.deviceAddress(), 0x16U);
    EXPECT_EQ(third.addressText(), "0x00000016");
    EXPECT_EQ(RegisterRange(seekable, AddressUnit::Registers, "2").resized(5)[3].addressText(), "5");
}

TEST(Json, EscapesCharactersThatStringsMustNotContain) {
    EXPECT_EQ(jsonString("\x1f \x7f"), "\"\\u001f \\u007f\"");
    EXPECT_EQ(jsonString("a\"b\\c\nd"), "\"a\\\"b\\\\c\\u000ad\"");
    EXPECT_EQ(jsonArray({}), "[]");
    EXPECT_EQ(JsonObject().add("none", std::optional<std::uint32_t>()).addFlag("flag", true).text(),
              "{\"none\":null,\"flag\":true}");
}

TEST(Diagnostics, AreOneLine) { EXPECT_EQ(errorLine("a\nb\x1b"), "rynvelctl: a?b?\n"); }

TEST(ServerAddress, HasItsOwnPortOrTheDefaultPort) {
    const CommandTimeout time(std::nullopt);
    EXPECT_EQ(RemoteServer("node", time).name(), "node::8888");
    EXPECT_EQ(RemoteServer("10.0.0.7::9000", time).name(), "10.0.0.7::9000");
    EXPECT_EQ(RemoteServer("10.0.0.7:9000", time).name(), "10.0.0.7::9000");
    EXPECT_EQ(RemoteServer("node:9000", time).name(), "node::9000");
    for (const std::string text : {"::9000", ":9000", "a:b:9000", "a:b::9000"}) {
        EXPECT_EQ(complaint([&] { RemoteServer(text, time); }),
                  "server address '" + text + "' is not HOST, HOST:PORT, HOST::PORT or unix:/PATH");
    }
    EXPECT_EQ(complaint([&] { RemoteServer("node::", time); }), "port '' is not a decimal number from 1 to 65535");
    EXPECT_EQ(complaint([&] { RemoteServer("node:0x1", time); }), "port '0x1' is not a decimal number from 1 to 65535");
    EXPECT_EQ(complaint([&] { RemoteServer("node:65536", time); }),
              "port '65536' is not a decimal number from 1 to 65535");
}

TEST(ServerAddress, MayBeALocalSocket) {
    const CommandTimeout time(std::nullopt);
    EXPECT_EQ(RemoteServer("unix:/run/rynveld.sock", time).name(), "unix:/run/rynveld.sock");
    EXPECT_EQ(RemoteServer("unix:/a b:c::1", time).address().path, "/a b:c::1");
    EXPECT_EQ(RemoteServer("unix:9000", time).name(), "unix::9000");
    for (const std::string text : {"unix:", "unix:rynveld.sock", "unix:@rynveld"}) {
        EXPECT_EQ(complaint([&] { RemoteServer(text, time); }),
                  "server address '" + text +
                      "' is not a local socket (give the absolute path of the socket: unix:/PATH)");
    }
    EXPECT_EQ(RemoteServer("unix:/" + std::string(106, 'a'), time).address().path.size(), 107U);
    const std::string longer = "unix:/" + std::string(107, 'a');
    EXPECT_EQ(complaint([&] { RemoteServer(longer, time); }),
              "server address '" + longer + "' is too long (the path of a socket has at most 107 bytes)");
}

TEST(CommandTimes, LimitEachAnswerOfTheServer) {
    using std::chrono::milliseconds;
    const CommandTimeout unlimited(std::nullopt);
    EXPECT_EQ(unlimited.deadline().timePoint(), std::nullopt);
    EXPECT_NE(unlimited.answerDeadline().timePoint(), std::nullopt);
    EXPECT_EQ(unlimited.limitText(), "5 s");
    unlimited.requireTimeLeft("map32");
    const CommandTimeout limited(milliseconds(60'000));
    EXPECT_EQ(limited.answerDeadline().timePoint(), limited.deadline().timePoint());
    EXPECT_EQ(limited.limitText(), "1 m");
    limited.requireTimeLeft("map32");
}

TEST(CommandTimes, EndTheCommandWhenTheyExpire) {
    try {
        CommandTimeout(std::chrono::milliseconds(0)).requireTimeLeft("map32");
        ADD_FAILURE() << "the call did not time out";
    } catch (const Failure& failure) {
        EXPECT_EQ(failure.status(), ExitStatus::TimedOut);
        EXPECT_STREQ(failure.what(), "map32: timed out after 0 ms");
    }
}

TEST(Formats, DumpSixteenBytesPerLine) {
    const RegisterRange range = RegisterRange(seekable, AddressUnit::Bytes, "0x10").resized(9);
    const Report report = RegisterDump{range, {1, 2, 3, 4, 5, 6, 7, 8, 9}, Rynvel::ByteOrder::Host};
    EXPECT_EQ(formatText(report), "0x00000010: 0001 0002 0003 0004 0005 0006 0007 0008\n0x00000020: 0009");
    EXPECT_EQ(formatValues(report), "0x0001\n0x0002\n0x0003\n0x0004\n0x0005\n0x0006\n0x0007\n0x0008\n0x0009");
    EXPECT_EQ(formatJson(report),
              R"({"name":"seekable","address":16,"width":16,"order":"host","values":[1,2,3,4,5,6,7,8,9]})");
}

TEST(Formats, ShowTheShortestTheMeanAndTheLongestRoundTrip) {
    using std::chrono::microseconds;
    const Report report = RoundTrips{"node::8888", {microseconds(1'000), microseconds(2'000), microseconds(4'500)}};
    EXPECT_EQ(formatText(report), "node::8888: 3 round trips, min 1.000 ms, avg 2.500 ms, max 4.500 ms");
    EXPECT_EQ(formatValues(report), "1.000 2.500 4.500");
    EXPECT_EQ(formatJson(report), R"({"server":"node::8888","roundTrips":3,"minMilliseconds":1.000,)"
                                  R"("avgMilliseconds":2.500,"maxMilliseconds":4.500})");
}

TEST(Formats, CountInTheSingularAndThePlural) {
    const RegisterRange range(seekable, AddressUnit::Bytes, "0x10");
    EXPECT_EQ(formatText(FilledRange{range, 1}), "seekable 0x00000010 = 0x0001 in 1 register");
    EXPECT_EQ(formatText(FilledRange{range.resized(2), 1}), "seekable 0x00000010 = 0x0001 in 2 registers");
    const std::string oneTrip = formatText(RoundTrips{"node::8888", {std::chrono::microseconds(1'000)}});
    EXPECT_EQ(oneTrip, "node::8888: 1 round trip, min 1.000 ms, avg 1.000 ms, max 1.000 ms");
}

} // namespace
} // namespace RynvelTest
