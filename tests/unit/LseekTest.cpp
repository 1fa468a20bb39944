// SPDX-License-Identifier: MIT
#include <rynvel.hpp>

#include <algorithm>
#include <array>
#include <cerrno>
#include <functional>
#include <limits>

#include <fcntl.h>

#include <gtest/gtest.h>

#include "NothingTraced.h"
#include "RecordingMutex.h"
#include "RegisterWidth.h"
#include "ScriptedOs.h"
#include "StoredResults.h"
#include "TraceRecorder.h"

namespace {

using Rynvel::ByteOrder;
using Rynvel::Lseek;
using namespace RynvelTest;

constexpr auto path = "/dev/tomkar_registers";
const std::string opening = "open(/dev/tomkar_registers, 2)";

template <typename T>
class LseekTest : public testing::Test {
protected:
    static constexpr T allOnes = std::numeric_limits<T>::max();
    static constexpr T pattern = Width<T>::value;
    static constexpr T reversedPattern = Width<T>::reversed;

    LseekTest() { m_os.log().clear(); }

    void store(std::size_t address, T value) { m_os.store(address, value); }
    T stored(std::size_t address) const { return m_os.stored<T>(address); }

    /**
     * Returns whether the device reports a complete burst as successful: only if registers have 8 bits or `items` is 0.
     */
    static bool reportedComplete(unsigned int items) { return sizeof(T) == 1 || items == 0; }

    static std::string readCall() { return std::string("read(7, ") + Width<T>::bytes + ")"; }
    static std::string writeCall(T written) { return "write(7, " + inMemory(written) + ")"; }

    ScriptedOs m_os;
    Lseek<T> m_device{path, std::make_unique<RecordingMutex>(m_os.log())};
};

using Widths = testing::Types<std::uint8_t, std::uint16_t, std::uint32_t>;
TYPED_TEST_SUITE(LseekTest, Widths);

TYPED_TEST(LseekTest, OpensTheDeviceFileForReadingAndWritingWithNoOtherFlag) {
    ScriptedOs os;
    const Lseek<TypeParam> device(path, std::make_unique<RecordingMutex>(os.log()));
    EXPECT_EQ(os.log(), EventLog{opening});
    EXPECT_EQ(O_RDWR, 2);
}

TYPED_TEST(LseekTest, ReadsOneRegisterAtItsByteOffsetUnderTheLock) {
    this->store(0x10, this->pattern);
    EXPECT_EQ(readFrom(this->m_device, 0x10), std::pair(true, this->pattern));
    EXPECT_EQ(this->m_os.log(), (EventLog{"lock", "lseek(7, 16, 0)", this->readCall(), "unlock"}));
}

TYPED_TEST(LseekTest, TransfersNothingAfterAFailedSeek) {
    TypeParam value = 0x77;
    const std::function<bool()> transfers[] = {[&] { return this->m_device.read(1, &value); },
                                               [&] { return this->m_device.write(1, 5); },
                                               [&] { return this->m_device.read(1, &value, 0, ByteOrder::Host); },
                                               [&] { return this->m_device.write(1, &value, 0, ByteOrder::Host); },
                                               [&] { return this->m_device.read(1, &value, 0, ByteOrder::Network); },
                                               [&] { return this->m_device.write(1, &value, 0, ByteOrder::Network); }};
    for (const auto& transfer : transfers) {
        this->m_os.script(Call::Lseek, {failing(EINVAL)});
        errno = 0;
        EXPECT_FALSE(transfer());
        EXPECT_EQ(errno, EINVAL);
        EXPECT_EQ(this->m_os.takeLog(), (EventLog{"lock", "lseek(7, 1, 0)", "unlock"}));
    }
    EXPECT_EQ(value, 0x77);
}

TYPED_TEST(LseekTest, TreatsASeekToAnotherOffsetAsSuccess) {
    this->m_os.script(Call::Lseek, {answering(3)});
    EXPECT_TRUE(readFrom(this->m_device).first);
}

TYPED_TEST(LseekTest, ReportsAFailedOrShortTransferAndUnlocksAndStaysUsable) {
    TypeParam value = 0;
    for (const bool reads : {true, false}) {
        const auto transfer = [&] { return reads ? this->m_device.read(0, &value) : this->m_device.write(0, 1); };
        for (const auto& answer : {failing(EIO), failing(ENOSPC), answering(0), answering(sizeof(TypeParam) - 1)}) {
            this->m_os.script(reads ? Call::Read : Call::Write, {answer});
            errno = 0;
            EXPECT_FALSE(transfer());
            EXPECT_EQ(errno, answer->error);
            EXPECT_EQ(this->m_os.log().back(), "unlock");
            EXPECT_TRUE(transfer());
        }
    }
}

TYPED_TEST(LseekTest, WritesOneRegisterAtItsByteOffsetUnderTheLock) {
    EXPECT_TRUE(this->m_device.write(0x20, this->pattern));
    EXPECT_EQ(this->stored(0x20), this->pattern);
    EXPECT_EQ(this->m_os.log(), (EventLog{"lock", "lseek(7, 32, 0)", this->writeCall(this->pattern), "unlock"}));
}

TYPED_TEST(LseekTest, SeeksToAddressesOfMoreThan31BitsAsTheSystemsOffsetTypeHasThem) {
    this->m_os.script(Call::Lseek, {failing(EINVAL)});
    EXPECT_FALSE(readFrom(this->m_device, 0xFFFFFFFE).first);
    EXPECT_EQ(this->m_os.log()[1], sizeof(long) == 8 ? "lseek(7, 4294967294, 0)" : "lseek(7, -2, 0)");
}

TYPED_TEST(LseekTest, MergesAMaskedWriteWithTheCurrentValueUnderOneLock) {
    struct Row {
        TypeParam current, data, mask, merged;
    };
    const auto mixed = static_cast<TypeParam>(0xFC);
    for (const auto& [current, data, mask, merged] :
         {Row{static_cast<TypeParam>(0xF0), 0x3C, 0x0F, mixed}, Row{this->pattern, 0, 0, this->pattern}}) {
        this->store(8, current);
        EXPECT_TRUE(this->m_device.write(8, data, mask));
        EXPECT_EQ(this->stored(8), merged);
        EXPECT_EQ(this->m_os.takeLog(), (EventLog{"lock", "lseek(7, 8, 0)", this->readCall(), "lseek(7, 8, 0)",
                                                  this->writeCall(merged), "unlock"}));
    }
}

TYPED_TEST(LseekTest, ReadsNothingUnderAMaskOfAllOnes) {
    EXPECT_TRUE(this->m_device.write(8, this->pattern, this->allOnes));
    EXPECT_EQ(this->m_os.log(), (EventLog{"lock", "lseek(7, 8, 0)", this->writeCall(this->pattern), "unlock"}));
}

TYPED_TEST(LseekTest, ReadsUnderAMaskThatLacksTheHighestBitOnly) {
    EXPECT_TRUE(this->m_device.write(8, 0, static_cast<TypeParam>(this->allOnes >> 1U)));
    EXPECT_EQ(this->m_os.log()[2], this->readCall());
}

TYPED_TEST(LseekTest, WritesNothingWhenTheReadOfAMaskedWriteFails) {
    for (const auto& answer : {failing(EIO), answering(0), answering(sizeof(TypeParam) - 1)}) {
        this->m_os.script(Call::Read, {answer});
        EXPECT_FALSE(this->m_device.write(8, 1, 1));
        EXPECT_EQ(this->m_os.takeLog(), (EventLog{"lock", "lseek(7, 8, 0)", this->readCall(), "unlock"}));
    }
}

TYPED_TEST(LseekTest, StopsAMaskedWriteAtEitherFailedSeek) {
    this->m_os.script(Call::Lseek, {failing(EINVAL), asUsual, failing(EINVAL)});
    EXPECT_FALSE(this->m_device.write(8, 1, 1));
    EXPECT_EQ(this->m_os.takeLog(), (EventLog{"lock", "lseek(7, 8, 0)", "unlock"}));
    EXPECT_FALSE(this->m_device.write(8, 1, 1));
    EXPECT_EQ(this->m_os.log(), (EventLog{"lock", "lseek(7, 8, 0)", this->readCall(), "lseek(7, 8, 0)", "unlock"}));
}

TYPED_TEST(LseekTest, ReportsAFailedWriteOfAMaskedWrite) {
    for (const auto& answer : {failing(EIO), answering(sizeof(TypeParam) - 1)}) {
        this->m_os.script(Call::Write, {answer});
        EXPECT_FALSE(this->m_device.write(8, 1, 1));
        EXPECT_EQ(this->m_os.log().back(), "unlock");
    }
}

TYPED_TEST(LseekTest, ReadsAHostBurstInOneTransferAndComparesBytesWithItems) {
    constexpr std::array<TypeParam, 3> stored{TestFixture::pattern, 2, TestFixture::reversedPattern};
    this->m_os.store(4, stored);
    std::array<TypeParam, 3> values{};
    EXPECT_EQ(this->m_device.read(4, values.data(), 3, ByteOrder::Host), this->reportedComplete(3));
    EXPECT_EQ(values, stored);
    EXPECT_EQ(this->m_os.log(),
              (EventLog{"lock", "lseek(7, 4, 0)", "read(7, " + std::to_string(sizeof(stored)) + ")", "unlock"}));
}

TYPED_TEST(LseekTest, ReadsANetworkBurstItemByItemWithTheBytesReversed) {
    constexpr TypeParam value = TestFixture::pattern;
    constexpr TypeParam reversed = TestFixture::reversedPattern;
    this->m_os.store(4, std::array{value, value, reversed});
    std::array<TypeParam, 3> values{};
    EXPECT_EQ(this->m_device.read(4, values.data(), 3, ByteOrder::Network), this->reportedComplete(3));
    EXPECT_EQ(values, (std::array{reversed, reversed, value}));
    EXPECT_EQ(this->m_os.log(),
              (EventLog{"lock", "lseek(7, 4, 0)", this->readCall(), this->readCall(), this->readCall(), "unlock"}));
}

TYPED_TEST(LseekTest, WritesAHostBurstInOneTransferAndComparesBytesWithItems) {
    constexpr TypeParam values[3] = {TestFixture::pattern, TestFixture::pattern, TestFixture::pattern};
    EXPECT_EQ(this->m_device.write(4, values, 3, ByteOrder::Host), this->reportedComplete(3));
    EXPECT_EQ(this->m_os.log(),
              (EventLog{"lock", "lseek(7, 4, 0)", "write(7, " + hexBytes(values, sizeof(values)) + ")", "unlock"}));
}

TYPED_TEST(LseekTest, WritesANetworkBurstItemByItemWithTheBytesReversed) {
    constexpr TypeParam values[3] = {TestFixture::reversedPattern, TestFixture::reversedPattern,
                                     TestFixture::reversedPattern};
    EXPECT_EQ(this->m_device.write(4, values, 3, ByteOrder::Network), this->reportedComplete(3));
    const std::string item = this->writeCall(this->pattern);
    EXPECT_EQ(this->m_os.log(), (EventLog{"lock", "lseek(7, 4, 0)", item, item, item, "unlock"}));
}

TYPED_TEST(LseekTest, ReportsABurstWhoseBytesHappenToEqualItsItems) {
    TypeParam values[4] = {};
    this->m_os.script(Call::Read, {answering(4)});
    EXPECT_TRUE(this->m_device.read(0, values, 4, ByteOrder::Host));
    this->m_os.script(Call::Write, {answering(4)});
    EXPECT_TRUE(this->m_device.write(0, values, 4, ByteOrder::Host));
}

TYPED_TEST(LseekTest, CompletesAnEmptyBurstAfterTheSeek) {
    TypeParam value = 0x55;
    EXPECT_TRUE(this->m_device.read(4, &value, 0, ByteOrder::Host));
    EXPECT_TRUE(this->m_device.read(4, &value, 0, ByteOrder::Network));
    EXPECT_TRUE(this->m_device.write(4, &value, 0, ByteOrder::Host));
    EXPECT_TRUE(this->m_device.write(4, &value, 0, ByteOrder::Network));
    EXPECT_EQ(value, 0x55);
    EXPECT_EQ(this->m_os.log(),
              (EventLog{"lock", "lseek(7, 4, 0)", "read(7, 0)", "unlock", "lock", "lseek(7, 4, 0)", "unlock", "lock",
                        "lseek(7, 4, 0)", "write(7, )", "unlock", "lock", "lseek(7, 4, 0)", "unlock"}));
}

TYPED_TEST(LseekTest, ReportsAFailedHostBurstAndKeepsErrno) {
    TypeParam values[2] = {};
    this->m_os.script(Call::Read, {failing(EIO)});
    this->m_os.script(Call::Write, {failing(ENOSPC)});
    EXPECT_FALSE(this->m_device.read(0, values, 2, ByteOrder::Host));
    EXPECT_EQ(errno, EIO);
    EXPECT_FALSE(this->m_device.write(0, values, 2, ByteOrder::Host));
    EXPECT_EQ(errno, ENOSPC);
    EXPECT_EQ(this->m_os.log().back(), "unlock");
}

TYPED_TEST(LseekTest, NeverTakesAFailedBurstForOneOfTheLargestItemCount) {
    TypeParam value = 0;
    this->m_os.script(Call::Read, {failing(EIO)});
    EXPECT_FALSE(this->m_device.read(0, &value, 0xFFFFFFFF, ByteOrder::Host));
}

TYPED_TEST(LseekTest, EndsANetworkBurstAtTheFirstFailedItem) {
    TypeParam values[3] = {1, 1, 1};
    this->m_os.script(Call::Read, {asUsual, failing(EIO)});
    EXPECT_FALSE(this->m_device.read(0, values, 3, ByteOrder::Network));
    EXPECT_EQ(values[0], 0);
    EXPECT_EQ(values[1], 1);
    EXPECT_EQ(this->m_os.takeLog(), (EventLog{"lock", "lseek(7, 0, 0)", this->readCall(), this->readCall(), "unlock"}));
    this->m_os.script(Call::Write, {asUsual, failing(EIO)});
    EXPECT_FALSE(this->m_device.write(0, values, 3, ByteOrder::Network));
    EXPECT_EQ(this->m_os.log().size(), 5U);
}

TYPED_TEST(LseekTest, AddsUpTheBytesBeforeAFailedItemOfANetworkBurst) {
    constexpr unsigned int bytes = 2 * sizeof(TypeParam);
    // The device compares the number of transferred bytes with the number of items. If they are equal, the burst
    // succeeds although the third item has failed.
    constexpr unsigned int items = std::max(bytes, 3U);
    TypeParam values[items] = {};
    this->m_os.script(Call::Read, {asUsual, asUsual, failing(EIO)});
    EXPECT_EQ(this->m_device.read(0, values, items, ByteOrder::Network), bytes == items);
    this->m_os.script(Call::Write, {asUsual, asUsual, failing(EIO)});
    EXPECT_EQ(this->m_device.write(0, values, items, ByteOrder::Network), bytes == items);
}

TYPED_TEST(LseekTest, ContinuesANetworkBurstAfterAShortItem) {
    this->store(0, this->pattern);
    std::array<TypeParam, 3> values{1, 1, 1};
    this->m_os.script(Call::Read, {answering(0), asUsual, answering(0)});
    EXPECT_FALSE(this->m_device.read(0, values.data(), 3, ByteOrder::Network));
    EXPECT_EQ(values, (std::array<TypeParam, 3>{0, TestFixture::reversedPattern, 0}));
    this->m_os.log().clear();
    this->m_os.script(Call::Write, {answering(0)});
    EXPECT_FALSE(this->m_device.write(0, values.data(), 3, ByteOrder::Network));
    EXPECT_EQ(this->m_os.log().size(), 6U);
}

TYPED_TEST(LseekTest, TracesItsConstructionAndDestructionBeforeItsCalls) {
    ScriptedOs os;
    const TraceRecorder recorder(6, "*", &os.log());
    { const Lseek<TypeParam> device(path, std::make_unique<RecordingMutex>(os.log())); }
    EXPECT_EQ(os.log(),
              (EventLog{"Rynvel.Lseek 6 Lseek ENTER physicalDevName=/dev/tomkar_registers", opening,
                        "Rynvel.Lseek 6 ~Lseek ENTER", "Rynvel.Lseek 6 ~Lseek: Device name: /dev/tomkar_registers",
                        "close(7)", "mutex destroyed"}));
}

TYPED_TEST(LseekTest, TracesTheEntryOfEveryOperation) {
    using W = Width<TypeParam>;
    const std::string data = W::dataText;
    TypeParam values[12] = {};
    const TraceRecorder recorder(7);
    this->m_device.read(0x1F, values);
    this->m_device.write(0x20, W::value);
    this->m_device.write(0x20, W::value, 0x0F);
    this->m_device.read(1, values, 12, ByteOrder::Host);
    this->m_device.write(2, values, 0, ByteOrder::Network);
    this->m_device.ioctl(-5, 4000000000UL);
    EXPECT_EQ(recorder.lines(),
              (EventLog{"Rynvel.Lseek 6 read ENTER Hex(address)=0x0000001f",
                        "Rynvel.Lseek 6 write ENTER Hex(address)=0x00000020, Hex(data)=" + data,
                        "Rynvel.Lseek 6 write ENTER Hex(address)=0x00000020, Hex(data)=" + data +
                            ", Hex(bitmask)=" + W::maskText,
                        "Rynvel.Lseek 6 read ENTER Hex(address)=0x00000001, items=12, byteOrder=Host",
                        "Rynvel.Lseek 6 write ENTER Hex(address)=0x00000002, items=0, byteOrder=Network",
                        "Rynvel.Lseek 6 ioctl ENTER command=-5, arg=4000000000"}));
}

TYPED_TEST(LseekTest, TracesNoFailureOfATransferOrRequest) {
    const NothingTraced nothingTraced(5);
    this->m_os.script(Call::Lseek, {failing(EIO)});
    this->m_os.script(Call::Ioctl, {failing(EIO)});
    readFrom(this->m_device);
    this->m_device.ioctl(0, 0);
    this->m_os.script(Call::Write, {failing(EIO)});
    this->m_device.write(0, 1);
}

template <typename T>
class LseekOpen : public testing::Test {
protected:
    /** Opens a missing device file of the real system. Writes traces up to the level to standard error. */
    static void openNothing(ZilTraceLevel level) {
        ZilTraceControl::setLevel("*", level);
        const Lseek<T> device("/dev/none", std::make_unique<Rynvel::PthreadMutex>(Rynvel::PthreadMutexType::None));
    }
};

TYPED_TEST_SUITE(LseekOpen, Widths);

TYPED_TEST(LseekOpen, TracesAtLevelTwoWhyTheFileCannotBeOpenedAndEndsTheProcess) {
    const std::string assertion =
        "cppsrc/RynvelLseek:[0-9]+: Rynvel::Lseek<T>::Lseek\\(.*\\) \\[with T = (short )?unsigned (char|int); .*"
        "Assertion `m_fd != -1' failed";
    EXPECT_DEATH(this->openNothing(2),
                 "Could not open device \"/dev/none\". errno = No such file or directory\n.*" + assertion);
    EXPECT_DEATH(this->openNothing(1), "^[^\n]*" + assertion);
    EXPECT_DEATH(this->openNothing(0), "^[^\n]*" + assertion);
}

} // namespace
