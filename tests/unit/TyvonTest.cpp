// SPDX-License-Identifier: MIT
#include <rynvel.hpp>

#include <cerrno>
#include <type_traits>

#include <gtest/gtest.h>

#include "NothingTraced.h"
#include "PlainMutex.h"
#include "RecordingMutex.h"
#include "ScriptedOs.h"
#include "StoredResults.h"
#include "TraceRecorder.h"

namespace {

using namespace Rynvel;
using namespace RynvelTest;

constexpr auto path = "/dev/tyvon";

template <typename T>
std::unique_ptr<Tyvon<T>> make(Tyvon<T>* /*type*/, EventLog& log) {
    return std::make_unique<Tyvon<T>>(path, 0, 0x1000, std::make_unique<RecordingMutex>(log), false);
}

template <typename T>
std::unique_ptr<TyvonInterrupt<T>> make(TyvonInterrupt<T>* /*type*/, EventLog& log) {
    return std::make_unique<TyvonInterrupt<T>>(path, std::make_unique<RecordingMutex>(log));
}

template <typename Device>
struct Family;

template <typename T>
struct Family<Tyvon<T>> {
    using Base = Mmap<T>;
    using Register = T;
    static constexpr auto channel = "Rynvel.Tyvon";
    static EventLog construction() { return {"open(/dev/tyvon, 2)", "mmap(0, 4096, 3, 1, 7, 0)"}; }
};

template <typename T>
struct Family<TyvonInterrupt<T>> {
    using Base = Lseek<T>;
    using Register = T;
    static constexpr auto channel = "Rynvel.TyvonInterrupt";
    static EventLog construction() { return {"open(/dev/tyvon, 2)"}; }
};

template <typename Device>
class TyvonTest : public testing::Test {
protected:
    static constexpr auto channel = Family<Device>::channel;

    std::string line(const std::string& rest) const { return std::string(channel) + ' ' + rest; }

    ScriptedOs m_os;
    std::unique_ptr<Device> m_device = make(static_cast<Device*>(nullptr), m_os.log());
    const EventLog m_construction = std::exchange(m_os.log(), {});
};

using Devices = testing::Types<Tyvon<std::uint16_t>, Tyvon<std::uint32_t>, TyvonInterrupt<std::uint16_t>,
                               TyvonInterrupt<std::uint32_t>>;
TYPED_TEST_SUITE(TyvonTest, Devices);

TYPED_TEST(TyvonTest, IsItsBaseAndIsConstructedAsItsBase) {
    EXPECT_TRUE((std::is_base_of_v<typename Family<TypeParam>::Base, TypeParam>));
    EXPECT_EQ(this->m_construction, Family<TypeParam>::construction());
}

TYPED_TEST(TyvonTest, TracesNothingOfItsOwnWhenConstructedAndDestroyed) {
    const TraceRecorder recorder(7, this->channel);
    make(static_cast<TypeParam*>(nullptr), this->m_os.log()).reset();
    EXPECT_EQ(recorder.lines(), EventLog{});
}

TYPED_TEST(TyvonTest, EnablesAndDisablesByRequestsWithoutTheLock) {
    EXPECT_TRUE(this->m_device->enableInterrupt());
    EXPECT_TRUE(this->m_device->disableInterrupt());
    // The library passes no argument to these requests, so the recorded argument can have any value.
    const EventLog& log = this->m_os.log();
    ASSERT_EQ(log.size(), 2U);
    EXPECT_EQ(log[0].rfind("ioctl(7, 0xee00, ", 0), 0U);
    EXPECT_EQ(log[1].rfind("ioctl(7, 0xee01, ", 0), 0U);
}

TYPED_TEST(TyvonTest, LetsTheDriverStoreTheInterruptType) {
    this->m_os.onRequest = [](unsigned long request, unsigned long arg) {
        EXPECT_EQ(request, 0xEE02UL);
        *reinterpret_cast<unsigned long*>(arg) = 3;
        return 0;
    };
    EXPECT_EQ(interruptTypeOf(*this->m_device), std::pair(true, 3UL));
    EXPECT_EQ(this->m_os.log(), EventLog{});
}

TYPED_TEST(TyvonTest, ForwardsANullPointerForTheType) {
    this->m_os.script(Call::Ioctl, {failing(EFAULT)});
    EXPECT_FALSE(this->m_device->getInterruptType(nullptr));
    EXPECT_EQ(errno, EFAULT);
    EXPECT_EQ(this->m_os.log(), EventLog{"ioctl(7, 0xee02, 0x0)"});
}

TYPED_TEST(TyvonTest, TreatsAnyResultButZeroOfARequestAsAFailureAndTracesNone) {
    const NothingTraced nothingTraced(5);
    for (const auto& answer : {failing(EIO), answering(1), answering(7)}) {
        this->m_os.script(Call::Ioctl, {answer, answer, answer});
        EXPECT_FALSE(this->m_device->enableInterrupt());
        EXPECT_FALSE(this->m_device->disableInterrupt());
        EXPECT_FALSE(interruptTypeOf(*this->m_device).first);
    }
}

TYPED_TEST(TyvonTest, WaitsByAReadOfTwoBytesWithoutEnablingAndWithoutTheLock) {
    this->m_os.store(0, std::uint16_t{0xABCD});
    this->m_os.memory[2] = 0xFF;
    EXPECT_EQ(waitForInterruptOf(*this->m_device), std::pair(true, 0xABCDUL));
    EXPECT_EQ(this->m_os.log(), EventLog{"read(7, 2)"});
}

TYPED_TEST(TyvonTest, TracesTheInterruptWordAtLevelSix) {
    this->m_os.store(0, std::uint16_t{0xABCD});
    const TraceRecorder recorder(6);
    EXPECT_TRUE(waitForInterruptOf(*this->m_device).first);
    EXPECT_EQ(recorder.lines(), (EventLog{this->line("6 waitForInterrupt ENTER"),
                                          this->line("6 waitForInterrupt: *status = 0x0000abcd")}));
    EXPECT_EQ(recorder.traces()[0].option, 256);
}

TYPED_TEST(TyvonTest, SetsTheInterruptWordToZeroAndTracesWhyWhenTheWaitFails) {
    const TraceRecorder recorder(1);
    this->m_os.script(Call::Read, {failing(EINTR)});
    errno = 0;
    EXPECT_EQ(waitForInterruptOf(*this->m_device), std::pair(false, 0UL));
    EXPECT_EQ(errno, EINTR);
    EXPECT_EQ(recorder.lines(), EventLog{this->line("1 waitForInterrupt: Failed to read from device \"/dev/tyvon\". "
                                                    "errno = Interrupted system call")});
}

TYPED_TEST(TyvonTest, SetsTheInterruptWordToZeroAndTracesTheNumberOfBytesUnlessItIsTwo) {
    for (const int count : {0, 1}) {
        const TraceRecorder recorder(1);
        this->m_os.script(Call::Read, {answering(count)});
        EXPECT_EQ(waitForInterruptOf(*this->m_device), std::pair(false, 0UL));
        EXPECT_EQ(recorder.lines(),
                  EventLog{this->line("1 waitForInterrupt: Did not read correct number of bytes from \"/dev/tyvon\". "
                                      "Did read ") +
                           std::to_string(count) + " number of bytes."});
    }
}

TYPED_TEST(TyvonTest, TracesNoFailedWaitWhenLevelOneIsOff) {
    const NothingTraced nothingTraced(0);
    this->m_os.script(Call::Read, {failing(EINTR), answering(0)});
    EXPECT_FALSE(waitForInterruptOf(*this->m_device).first);
    EXPECT_FALSE(waitForInterruptOf(*this->m_device).first);
}

TYPED_TEST(TyvonTest, TracesTheEntryOfTheOtherInterruptOperationsAtLevelSix) {
    const TraceRecorder recorder(6);
    interruptTypeOf(*this->m_device);
    this->m_device->enableInterrupt();
    this->m_device->disableInterrupt();
    EXPECT_EQ(recorder.lines(), (EventLog{this->line("6 getInterruptType ENTER"), this->line("6 enableInterrupt ENTER"),
                                          this->line("6 disableInterrupt ENTER")}));
}

TYPED_TEST(TyvonTest, KeepsTheRegistersOfItsBase) {
    EXPECT_TRUE(this->m_device->write(4, 0x77));
    using Register = typename Family<TypeParam>::Register;
    const bool byBytes = std::is_same_v<typename Family<TypeParam>::Base, Lseek<Register>>;
    EXPECT_EQ(this->m_os.template stored<Register>(byBytes ? 4 : 4 * sizeof(Register)), 0x77);
}

TEST(TyvonOpen, EndsTheProcessIfASeekableDeviceIsMissingAndLeavesAMissingMappedDeviceWithoutRegisters) {
    const TraceRecorder silence(0);
    EXPECT_DEATH(TyvonInterrupt<std::uint16_t>("/dev/none", plainMutex()), "Assertion `m_fd != -1' failed");
    EXPECT_DEATH(TyvonInterrupt<std::uint32_t>("/dev/none", plainMutex()), "Assertion `m_fd != -1' failed");
    Tyvon<std::uint32_t> mapped("/dev/none", 0, 0x1000, plainMutex(), false);
    EXPECT_FALSE(readFrom(mapped).first);
    EXPECT_EQ(mapped.getNativeHandle(), -1);
}

} // namespace
