// SPDX-License-Identifier: MIT
#include <rynvel.hpp>

#include <algorithm>
#include <cerrno>
#include <type_traits>

#include <linux/spi/spidev.h>

#include <gtest/gtest.h>

#include "RecordingMutex.h"
#include "RegisterWidth.h"
#include "ScriptedOs.h"
#include "TraceRecorder.h"

// Tests the behavior that all backends of this machine share. The tests of a single backend are in its test file.

namespace {

using namespace Rynvel;
using namespace RynvelTest;

constexpr auto path = "/dev/registers";

template <typename T>
T registerOf(const Device<T>* device);

/** Returns a device of the backend, with the arguments that its constructor needs. */
template <typename Backend>
std::unique_ptr<Backend> makeDevice(std::unique_ptr<IMutex> mutex) {
    if constexpr (std::is_constructible_v<Backend, const char*, std::unique_ptr<IMutex>>) {
        return std::make_unique<Backend>(path, std::move(mutex));
    } else if constexpr (std::is_constructible_v<Backend, const char*, std::unique_ptr<IMutex>, int>) {
        return std::make_unique<Backend>(path, std::move(mutex), 0);
    } else {
        return std::make_unique<Backend>(path, 0, 0x1000, std::move(mutex), false);
    }
}

/**
 * Appends an FPGA frame to the event log. Stores a reply with the status 0x80, success, and the value 0x00010203.
 * Returns the size of the frame in bytes.
 */
int answerFrame(EventLog& log, const spi_ioc_transfer& transfer) {
    const auto* const frame = reinterpret_cast<const std::uint8_t*>(transfer.tx_buf);
    auto* const reply = reinterpret_cast<std::uint8_t*>(transfer.rx_buf);
    log.push_back("spi " + hexBytes(frame, transfer.len));
    for (std::uint8_t i = 0; i < 4; ++i) {
        reply[6 + i] = i;
    }
    reply[10] = 0x80;
    return static_cast<int>(transfer.len);
}

template <typename Backend>
class EveryBackend : public testing::Test {
protected:
    using Register = decltype(registerOf(static_cast<const Backend*>(nullptr)));

    static constexpr bool isMapped = std::is_base_of_v<Mmap<Register>, Backend>;
    /**
     * Whether the backend is FpgaSpi32. Its device has no native handle, its ioctl() fails, and its bursts and masked
     * writes consist of single operations.
     */
    static constexpr bool isFpga = std::is_same_v<Backend, FpgaSpi32>;
    static constexpr bool hasInterrupts =
        !isFpga && !std::is_same_v<Backend, Lseek<Register>> && !std::is_same_v<Backend, Mmap<Register>>;
    /** The number of files that the device opens before its device file. */
    static constexpr std::size_t earlierFiles = std::is_same_v<Backend, Uio<Register>> ? 2 : 0;
    static constexpr ZilTraceLevel entryLevel = isMapped ? 7 : 6;
    static constexpr auto source = isMapped ? "cppsrc/RynvelMmap"
                                   : isFpga ? "cppsrc/RynvelFpgaSpi"
                                            : "cppsrc/RynvelLseek";

    EveryBackend() {
        m_os.files = {{"/sys/class/uio/uio0/maps/map0/offset", "0"}, {"/sys/class/uio/uio0/maps/map0/size", "0x1000"}};
        if (isFpga) {
            m_os.onRequest = [this](unsigned long /*request*/, unsigned long arg) {
                return answerFrame(m_os.log(), *reinterpret_cast<const spi_ioc_transfer*>(arg));
            };
        }
        m_device = make();
        m_os.log().clear();
    }

    std::unique_ptr<Backend> make(bool mutexWorks = true) {
        return makeDevice<Backend>(std::make_unique<RecordingMutex>(m_os.log(), mutexWorks));
    }

    /** Returns the calls that an operation makes, and the memory after it. Every operation begins with the same memory.
     */
    template <typename Operation>
    std::pair<EventLog, std::vector<std::uint8_t>> effectOf(Operation operation) {
        for (std::size_t i = 0; i < m_os.memory.size(); ++i) {
            m_os.memory[i] = static_cast<std::uint8_t>(i);
        }
        m_os.log().clear();
        operation();
        return {m_os.log(), m_os.memory};
    }

    ScriptedOs m_os;
    std::unique_ptr<Backend> m_device;
};

using Backends =
    testing::Types<Lseek<std::uint8_t>, Lseek<std::uint16_t>, Lseek<std::uint32_t>, Mmap<std::uint16_t>,
                   Mmap<std::uint32_t>, Uio<std::uint16_t>, Uio<std::uint32_t>, Tyvon<std::uint16_t>,
                   Tyvon<std::uint32_t>, TyvonInterrupt<std::uint16_t>, TyvonInterrupt<std::uint32_t>, FpgaSpi32>;
TYPED_TEST_SUITE(EveryBackend, Backends);

TYPED_TEST(EveryBackend, HasItsPathAsNameAndItsDescriptorAsHandleIfItHasRequests) {
    EXPECT_EQ(this->m_device->getDevName(), path);
    EXPECT_EQ(this->m_device->getNativeHandle(), this->isFpga ? -1 : ScriptedOs::descriptor);
}

TYPED_TEST(EveryBackend, TreatsTheDescriptorZeroAsAnOpenFile) {
    auto answers = std::vector<std::optional<Answer>>(this->earlierFiles, asUsual);
    answers.emplace_back(answering(0));
    this->m_os.script(Call::Open, answers);
    auto device = this->make();
    EXPECT_EQ(device->getNativeHandle(), this->isFpga ? -1 : 0);
    EXPECT_EQ(device->ioctl(1, 2), this->isFpga ? -1 : 0);
    EXPECT_TRUE(device->write(0, 1));
    device.reset();
    EXPECT_EQ(this->m_os.log()[this->m_os.log().size() - 2], "close(0)");
}

TYPED_TEST(EveryBackend, UnmapsThenClosesThenDestroysTheMutexWhateverTheCallsReturn) {
    this->m_os.script(Call::Close, {failing(EIO)});
    if (this->isMapped) {
        this->m_os.script(Call::Munmap, {failing(EINVAL)});
    }
    this->m_device.reset();
    auto& log = this->m_os.log();
    if (this->isMapped) {
        ASSERT_EQ(log.front().rfind("munmap(", 0), 0U);
        log.erase(log.begin());
    }
    EXPECT_EQ(log, (EventLog{"close(7)", "mutex destroyed"}));
}

TYPED_TEST(EveryBackend, ForwardsARequestWithoutTheLockIfItHasRequests) {
    if (this->isFpga) {
        EXPECT_EQ(this->m_device->ioctl(0x5401, 0xBEEF), -1);
        EXPECT_EQ(this->m_os.log(), EventLog{});
        return;
    }
    this->m_os.script(Call::Ioctl, {answering(42), failing(ENOTTY)});
    EXPECT_EQ(this->m_device->ioctl(0x5401, 0xBEEF), 42);
    errno = 0;
    EXPECT_EQ(this->m_device->ioctl(0x5401, 0xBEEF), -1);
    EXPECT_EQ(errno, ENOTTY);
    EXPECT_EQ(this->m_os.log(), (EventLog{"ioctl(7, 0x5401, 0xbeef)", "ioctl(7, 0x5401, 0xbeef)"}));
}

TYPED_TEST(EveryBackend, MakesNoCallAndNoTraceForInterruptsIfItHasNone) {
    if (this->hasInterrupts) {
        return;
    }
    const TraceRecorder recorder(7);
    unsigned long info = 0x55;
    EXPECT_FALSE(this->m_device->getInterruptType(&info));
    EXPECT_FALSE(this->m_device->enableInterrupt());
    EXPECT_FALSE(this->m_device->disableInterrupt());
    EXPECT_FALSE(this->m_device->waitForInterrupt(&info));
    EXPECT_EQ(info, 0x55U);
    EXPECT_EQ(this->m_os.log(), EventLog{});
    EXPECT_EQ(recorder.lines(), EventLog{});
}

TYPED_TEST(EveryBackend, ReleasesAWaiterByASingleWrite) {
    constexpr auto value = Width<typename TestFixture::Register>::value;
    EXPECT_EQ(this->effectOf([&] { EXPECT_TRUE(this->m_device->cancelWaitForInterrupt(8, value)); }),
              this->effectOf([&] { EXPECT_TRUE(this->m_device->write(8, value)); }));
}

TYPED_TEST(EveryBackend, TreatsAnyOrderButNetworkAsHost) {
    const auto transfer = [this](ByteOrder order) {
        std::array<typename TestFixture::Register, 2> values{};
        const auto effect = this->effectOf([&] {
            this->m_device->read(8, values.data(), 2, order);
            this->m_device->write(16, values.data(), 2, order);
        });
        return std::pair(values, effect);
    };
    const auto host = transfer(ByteOrder::Host);
    EXPECT_EQ(transfer(static_cast<ByteOrder>(2)), host);
    EXPECT_EQ(transfer(static_cast<ByteOrder>(7)), host);
    if (sizeof(host.first[0]) > 1) {
        EXPECT_NE(transfer(ByteOrder::Network), host);
    }
}

TYPED_TEST(EveryBackend, ContinuesWhenItsMutexReportsFailures) {
    const auto device = this->make(false);
    typename TestFixture::Register value = 0;
    EXPECT_TRUE(device->read(0, &value));
    EXPECT_TRUE(device->write(0, 1));
}

TYPED_TEST(EveryBackend, TracesTheEntriesOfAnOperationAtTheirLevelOnlyAndThenLocks) {
    typename TestFixture::Register value = 0;
    const auto expectEntriesThenLocks = [this](std::size_t entries, std::ptrdiff_t locks, auto operation) {
        const EventLog& log = this->m_os.log();
        const TraceRecorder recorder(this->entryLevel, "*", &this->m_os.log());
        this->m_os.log().clear();
        operation();
        for (std::size_t i = 0; i < entries; ++i) {
            EXPECT_NE(log[i].find(" ENTER "), std::string::npos);
        }
        EXPECT_EQ(log[entries], "lock");
        EXPECT_EQ(log.back(), "unlock");
        EXPECT_EQ(std::count(log.begin(), log.end(), "lock"), locks);
        EXPECT_EQ(std::count(log.begin(), log.end(), "unlock"), locks);
        const TraceRecorder silence(this->entryLevel - 1);
        operation();
        EXPECT_EQ(silence.lines(), EventLog{});
    };
    // A burst or a masked write of an FPGA consists of single operations, which also trace and lock.
    const std::size_t entries = this->isFpga ? 2 : 1;
    expectEntriesThenLocks(1, 1, [&] { this->m_device->read(0, &value); });
    expectEntriesThenLocks(1, 1, [&] { this->m_device->write(0, value); });
    expectEntriesThenLocks(entries, this->isFpga ? 2 : 1, [&] { this->m_device->write(0, value, 1); });
    for (const auto order : {ByteOrder::Host, ByteOrder::Network}) {
        expectEntriesThenLocks(entries, 1, [&] { this->m_device->read(0, &value, 1, order); });
        expectEntriesThenLocks(entries, 1, [&] { this->m_device->write(0, &value, 1, order); });
    }
}

TYPED_TEST(EveryBackend, KeepsErrnoWhenItTraces) {
    const TraceRecorder recorder(7);
    errno = ERANGE;
    this->m_device->write(0, 1);
    this->m_device->ioctl(0, 0);
    EXPECT_EQ(errno, ERANGE);
}

TYPED_TEST(EveryBackend, NamesItsSourceInTheTraceHeaderAndASeparateLineForEveryTracePoint) {
    const TraceRecorder recorder(this->entryLevel);
    typename TestFixture::Register value = 0;
    this->m_device->read(0, &value);
    this->m_device->read(0, &value, 1, ByteOrder::Host);
    const auto traces = recorder.traces();
    ASSERT_GE(traces.size(), 2U);
    EXPECT_EQ(traces[0].file, this->source);
    EXPECT_EQ(traces[0].function, "read");
    EXPECT_EQ(traces[0].option, 256);
    EXPECT_GT(traces[0].line, 0);
    EXPECT_NE(traces[0].line, traces[1].line);
}

} // namespace
