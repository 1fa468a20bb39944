// SPDX-License-Identifier: MIT
#include <atomic>
#include <cerrno>
#include <thread>

#include "BoardRegisters.h"
#include "DeviceContract.h"
#include "TraceRecorder.h"

// Tests Tyvon devices, their ioctl requests and their interrupt reads with a real driver.

namespace RynvelTest {
namespace {

template <typename T>
class TyvonOnBoard : public BoardRegisters<T>, public UsualBackend {
public:
    static constexpr auto name = "tyvon_map";
    static constexpr auto channel = "Rynvel.Tyvon";
    static constexpr bool hasInterrupts = true;

    TyvonOnBoard() : BoardRegisters<T>(name) {}

    static std::unique_ptr<Rynvel::Device<T>> open() {
        return std::make_unique<Rynvel::Tyvon<T>>("/dev/tyvon_map", 0, 4096, plainMutex(), false);
    }
};

template <typename T>
class TyvonInterruptOnBoard : public BoardRegisters<T>, public UsualBackend {
public:
    static constexpr auto name = "tyvon_seek";
    static constexpr auto channel = "Rynvel.TyvonInterrupt";
    static constexpr bool hasInterrupts = true;

    /** Prepares the driver for bursts in Network order, which make several transfers after one seek. */
    TyvonInterruptOnBoard() : BoardRegisters<T>(name) { BoardProbe(name).set("transfers_per_seek", "5"); }
    ~TyvonInterruptOnBoard() { BoardProbe(name).set("transfers_per_seek", "1"); }

    static std::unique_ptr<Rynvel::Device<T>> open() {
        return std::make_unique<Rynvel::TyvonInterrupt<T>>("/dev/tyvon_seek", plainMutex());
    }

    static unsigned int address(unsigned int i) { return static_cast<unsigned int>(i * sizeof(T)); }
    static bool reportsBurst(unsigned int items) { return items == 0; }
};

using Backends = testing::Types<TyvonOnBoard<std::uint16_t>, TyvonOnBoard<std::uint32_t>,
                                TyvonInterruptOnBoard<std::uint16_t>, TyvonInterruptOnBoard<std::uint32_t>>;
INSTANTIATE_TYPED_TEST_SUITE_P(BoardTyvon, DeviceContract, Backends);

template <typename Backend>
class BoardTyvon : public testing::Test {
protected:
    BoardTyvon() { m_device->disableInterrupt(); }

    std::string line(const std::string& text) const {
        return std::string(Backend::channel) + " 1 waitForInterrupt: " + text;
    }

    Backend m_backend;
    const BoardProbe m_probe{Backend::name};
    const std::unique_ptr<Rynvel::Device<typename Backend::Value>> m_device = m_backend.open();
};

TYPED_TEST_SUITE(BoardTyvon, Backends);

TYPED_TEST(BoardTyvon, ReachesTheDriverWithTheRightRequests) {
    EXPECT_TRUE(this->m_device->enableInterrupt());
    EXPECT_EQ(this->m_probe.value("request"), 0xEE00U);
    EXPECT_EQ(this->m_probe.value("enabled"), 1U);
    EXPECT_TRUE(this->m_device->disableInterrupt());
    EXPECT_EQ(this->m_probe.value("request"), 0xEE01U);
    EXPECT_EQ(this->m_probe.value("enabled"), 0U);
    this->m_probe.set("type", "3");
    unsigned long type = 0;
    EXPECT_TRUE(this->m_device->getInterruptType(&type));
    EXPECT_EQ(this->m_probe.value("request"), 0xEE02U);
    EXPECT_EQ(type, 3U);
}

TYPED_TEST(BoardTyvon, TreatsAPositiveResultOfARequestAsAFailure) {
    unsigned long type = 0;
    this->m_probe.set("ioctl/force", "3 5");
    EXPECT_FALSE(this->m_device->enableInterrupt());
    EXPECT_FALSE(this->m_device->disableInterrupt());
    EXPECT_FALSE(this->m_device->getInterruptType(&type));
    this->m_probe.fail("ioctl", 1, EIO);
    errno = 0;
    EXPECT_FALSE(this->m_device->enableInterrupt());
    EXPECT_EQ(errno, EIO);
    EXPECT_TRUE(this->m_device->enableInterrupt());
}

TYPED_TEST(BoardTyvon, DeliversTheInterruptWordZeroExtended) {
    EXPECT_TRUE(this->m_device->enableInterrupt());
    this->m_probe.set("raise", "0xabcd");
    unsigned long status = 0xFFFFFFFF;
    EXPECT_TRUE(this->m_device->waitForInterrupt(&status));
    EXPECT_EQ(status, 0x0000ABCDU);
}

TYPED_TEST(BoardTyvon, WaitsUntilAPendingInterruptIsEnabled) {
    this->m_probe.resetCalls("wait");
    this->m_probe.set("raise", "0x55");
    std::atomic<bool> received{false};
    std::thread waiter([&] {
        unsigned long status = 0;
        EXPECT_TRUE(this->m_device->waitForInterrupt(&status));
        EXPECT_EQ(status, 0x55U);
        received = true;
    });
    while (this->m_probe.calls("wait") == 0) {
        std::this_thread::yield();
    }
    for (unsigned int i = 0; i < 50; ++i) {
        EXPECT_EQ(this->m_probe.value("pending"), 1U);
    }
    EXPECT_FALSE(received);
    EXPECT_TRUE(this->m_device->enableInterrupt());
    waiter.join();
}

TYPED_TEST(BoardTyvon, WaitsWithoutBlockingRegisterAccessByAnotherThread) {
    using Value = typename TypeParam::Value;
    EXPECT_TRUE(this->m_device->enableInterrupt());
    this->m_probe.resetCalls("wait");
    std::atomic<bool> received{false};
    std::thread waiter([&] {
        unsigned long status = 0;
        EXPECT_TRUE(this->m_device->waitForInterrupt(&status));
        EXPECT_EQ(status, 0x1234U);
        received = true;
    });
    while (this->m_probe.calls("wait") == 0) {
        std::this_thread::yield();
    }
    for (unsigned int i = 0; i < 50; ++i) {
        const auto written = static_cast<Value>(i);
        Value value = 0;
        EXPECT_TRUE(this->m_device->write(this->m_backend.address(i), written));
        EXPECT_TRUE(this->m_device->read(this->m_backend.address(i), &value));
        EXPECT_EQ(value, written);
    }
    EXPECT_FALSE(received);
    this->m_probe.set("raise", "0x1234");
    waiter.join();
}

TYPED_TEST(BoardTyvon, SetsTheInterruptWordToZeroAndTracesWhyWhenTheWaitFails) {
    const std::string path = std::string("/dev/") + TypeParam::name;
    const auto failing = [&](const std::string& force, const std::string& text) {
        const TraceRecorder recorder(1);
        this->m_probe.set("wait/force", force);
        unsigned long status = 7;
        EXPECT_FALSE(this->m_device->waitForInterrupt(&status));
        EXPECT_EQ(status, 0U);
        EXPECT_EQ(recorder.lines(), EventLog{this->line(text)});
    };
    EXPECT_TRUE(this->m_device->enableInterrupt());
    failing("1 -5", "Failed to read from device \"" + path + "\". errno = Input/output error");
    failing("1 0", "Did not read correct number of bytes from \"" + path + "\". Did read 0 number of bytes.");
    this->m_probe.set("raise", "1");
    failing("1 1", "Did not read correct number of bytes from \"" + path + "\". Did read 1 number of bytes.");
}

} // namespace
} // namespace RynvelTest
