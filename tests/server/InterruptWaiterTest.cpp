#include "InterruptWaiter.h"

#include <poll.h>
#include <pthread.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <future>
#include <system_error>

#include <ZilTraceControl.h>
#include <gtest/gtest.h>

#include "ComesAbout.h"
#include "RecordClient.h"
#include "SocketPair.h"
#include "TraceRecorder.h"
#include "WakeUp.h"

namespace RynvelTest {
namespace {

using Rynveld::InterruptWaiter;
using namespace std::chrono_literals;

/**
 * A device with an interrupt as a UIO driver reports it: it fires while its source is active and it is enabled, which
 * disables it. What is received is the number of interrupts so far.
 */
class FakeDevice : public Rynvel::Device32 {
public:
    explicit FakeDevice(bool waitEnablesInterrupt = true)
        : Device("fake"), m_waitEnablesInterrupt(waitEnablesInterrupt) {}

    /** An active source fires whenever it can. */
    void activate() {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_active = true;
        fire();
    }
    /** Makes a single interrupt, as soon as it is enabled. */
    void pulse() {
        const std::lock_guard<std::mutex> lock(m_mutex);
        ++m_pulses;
        fire();
    }
    /** Nothing can be received any more. */
    void fail() { EXPECT_EQ(::shutdown(m_events.server(), SHUT_RD), 0); }
    std::uint32_t count() const {
        const std::lock_guard<std::mutex> lock(m_mutex);
        return m_count;
    }
    bool isEnabled() const {
        const std::lock_guard<std::mutex> lock(m_mutex);
        return m_enabled;
    }

    bool enableInterrupt() override {
        if (m_enablingBlocks) {
            ::poll(nullptr, 0, -1);
        }
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_enabled = !m_refuses;
        fire();
        return !m_refuses;
    }
    bool disableInterrupt() override {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_enabled = false;
        return true;
    }
    /** A signal ends the next wait. */
    void interruptTheNextWait() { m_waitIsInterrupted = true; }
    /** Enabling takes until a signal comes. */
    void blockWhenEnabled() { m_enablingBlocks = true; }

    bool waitForInterrupt(unsigned long* word) override {
        if (m_waitIsInterrupted.exchange(false)) {
            errno = EINTR;
            return false;
        }
        if (m_waitEnablesInterrupt && !enableInterrupt()) {
            return false;
        }
        std::uint32_t received = 0;
        const bool success = ::read(getNativeHandle(), &received, sizeof(received)) == sizeof(received);
        *word = received;
        return success;
    }
    int getNativeHandle() const override { return m_events.server(); }
    bool getInterruptType(unsigned long* /*type*/) override { return false; }
    int ioctl(int /*request*/, unsigned long /*arg*/) override { return -1; }
    bool read(unsigned int /*address*/, std::uint32_t* /*data*/) override { return false; }
    bool read(unsigned int /*address*/, std::uint32_t* /*data*/, unsigned int /*items*/,
              Rynvel::ByteOrder /*byteOrder*/) override {
        return false;
    }
    bool write(unsigned int /*address*/, std::uint32_t /*data*/) override { return false; }
    bool write(unsigned int /*address*/, std::uint32_t /*data*/, std::uint32_t /*bitmask*/) override { return false; }
    bool write(unsigned int /*address*/, const std::uint32_t* /*data*/, unsigned int /*items*/,
               Rynvel::ByteOrder /*byteOrder*/) override {
        return false;
    }
    void refuseToEnable() {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_refuses = true;
    }

private:
    void fire() {
        while (m_enabled && (m_active || m_pulses > 0)) {
            m_enabled = false;
            m_pulses -= m_active ? 0 : 1;
            ++m_count;
            std::uint32_t unread = 0;
            ::recv(m_events.server(), &unread, sizeof(unread), MSG_DONTWAIT);
            EXPECT_EQ(::write(m_events.client(), &m_count, sizeof(m_count)), static_cast<ssize_t>(sizeof(m_count)));
        }
    }

    const bool m_waitEnablesInterrupt;
    std::atomic<bool> m_waitIsInterrupted{false};
    std::atomic<bool> m_enablingBlocks{false};
    const SocketPair m_events{SOCK_DGRAM};
    mutable std::mutex m_mutex;
    bool m_active = false;
    unsigned int m_pulses = 0;
    bool m_enabled = false;
    bool m_refuses = false;
    std::uint32_t m_count = 0;
};

/** A client whose connection can be armed. */
class ArmedClient {
public:
    explicit ArmedClient(InterruptWaiter& waiter) : m_waiter(waiter) { arm(); }
    ArmedClient(const ArmedClient&) = delete;
    ArmedClient& operator=(const ArmedClient&) = delete;
    ~ArmedClient() { disarm(); }

    void arm() {
        m_waiter.arm(m_pair.server(), m_peer);
        m_waiter.startDelivery(m_pair.server());
    }
    void disarm() { m_waiter.disarm(m_pair.server()); }

    /** The next word. */
    std::uint32_t word() const { return m_client.interrupt(); }
    bool isEnded() const { return m_client.isEnded(); }
    bool hasNothing() const {
        char byte = 0;
        return ::recv(m_client.socket(), &byte, sizeof(byte), MSG_DONTWAIT) < 0;
    }
    int server() const { return m_pair.server(); }

private:
    Rynveld::TraceLimit m_limit;
    const Rynveld::Peer m_peer{"10.0.0.7:4711", "10.0.0.7", m_limit};
    SocketPair m_pair;
    const RecordClient m_client = RecordClient::on(m_pair.releaseClient());
    InterruptWaiter& m_waiter;
};

class InterruptWaiterTest : public testing::Test {
protected:
    static constexpr auto never = std::chrono::milliseconds(24h);

    InterruptWaiterTest() { Rynveld::installWakeUpHandler(); }

    Rynveld::TraceLimit m_limit;
    const Rynveld::Peer m_peer{"", "", m_limit};
};

TEST_F(InterruptWaiterTest, SendsEachWordToAllArmedSockets) {
    FakeDevice device;
    InterruptWaiter waiter(device, true, 0ms);
    const ArmedClient one(waiter);
    const ArmedClient other(waiter);
    for (std::uint32_t word = 1; word <= 100; ++word) {
        device.pulse();
        ASSERT_EQ(one.word(), word);
        ASSERT_EQ(other.word(), word);
    }
}

TEST_F(InterruptWaiterTest, SendsWordsInNetworkOrder) {
    FakeDevice device(false);
    InterruptWaiter waiter(device, false);
    SocketPair pair(SOCK_SEQPACKET);
    waiter.arm(pair.server(), m_peer);
    waiter.startDelivery(pair.server());
    device.enableInterrupt();
    device.pulse();
    std::array<unsigned char, 8> bytes{};
    EXPECT_EQ(::recv(pair.client(), bytes.data(), bytes.size(), 0), 4);
    EXPECT_EQ(bytes, (std::array<unsigned char, 8>{0, 0, 0, 1}));
    waiter.disarm(pair.server());
}

TEST_F(InterruptWaiterTest, EnablesTheInterruptOnlyWhereWaitingDoes) {
    FakeDevice device(false);
    InterruptWaiter waiter(device, false);
    const ArmedClient client(waiter);
    EXPECT_TRUE(waiter.enable());
    device.pulse();
    EXPECT_EQ(client.word(), 1U);
    EXPECT_FALSE(device.isEnabled());
}

TEST_F(InterruptWaiterTest, SendsNothingToASocketThatIsArmedNoMore) {
    FakeDevice device;
    InterruptWaiter waiter(device, true, 0ms);
    ArmedClient one(waiter);
    const ArmedClient other(waiter);
    one.disarm();
    device.pulse();
    EXPECT_EQ(other.word(), 1U);
    EXPECT_TRUE(one.hasNothing());
    one.arm();
    device.pulse();
    EXPECT_EQ(other.word(), 2U);
    EXPECT_EQ(one.word(), 2U);
}

TEST_F(InterruptWaiterTest, WaitsNoMoreAfterTheLastSocketAndAgainAfterTheNext) {
    FakeDevice device;
    InterruptWaiter waiter(device, true, never);
    for (std::uint32_t round = 1; round <= 20; ++round) {
        ArmedClient client(waiter);
        device.pulse();
        ASSERT_EQ(client.word(), round);
        client.disarm();
        device.disableInterrupt();
        device.pulse();
        ASSERT_EQ(device.count(), round);
        ASSERT_TRUE(client.hasNothing());
        client.arm();
        ASSERT_EQ(client.word(), ++round);
    }
}

TEST_F(InterruptWaiterTest, KeepsTheWordsOfASocketUntilItBegins) {
    FakeDevice device;
    InterruptWaiter waiter(device, true, 0ms);
    const SocketPair pair;
    const RecordClient client = RecordClient::on(::dup(pair.client()));
    waiter.arm(pair.server(), m_peer);
    const ArmedClient other(waiter);
    for (std::uint32_t word = 1; word <= 3; ++word) {
        device.pulse();
        ASSERT_EQ(other.word(), word);
    }
    char byte = 0;
    EXPECT_LT(::recv(client.socket(), &byte, sizeof(byte), MSG_DONTWAIT), 0);
    waiter.startDelivery(pair.server());
    device.pulse();
    for (std::uint32_t word = 1; word <= 4; ++word) {
        EXPECT_EQ(client.interrupt(), word);
    }
    waiter.disarm(pair.server());
}

std::atomic<unsigned int> wakeUps{0};

TEST_F(InterruptWaiterTest, IsStoppedWithoutASignalWhileItWaits) {
    struct sigaction count {};
    struct sigaction before {};
    count.sa_handler = [](int /*signal*/) { ++wakeUps; };
    ASSERT_EQ(sigaction(SIGUSR1, &count, &before), 0);
    FakeDevice device;
    InterruptWaiter waiter(device, true, never);
    for (unsigned int i = 0; i < 50; ++i) {
        const ArmedClient client(waiter);
        std::this_thread::yield();
    }
    EXPECT_EQ(wakeUps, 0U);
    sigaction(SIGUSR1, &before, nullptr);
}

/** A device whose driver says that there is an interrupt when there is none, as one that cannot be polled does. */
class UnpollableDevice : public FakeDevice {
public:
    UnpollableDevice() : FakeDevice(false) { EXPECT_EQ(::write(m_always.client(), "", 1), 1); }

    int getNativeHandle() const override { return m_always.server(); }
    bool waitForInterrupt(unsigned long* /*word*/) override {
        char byte = 0;
        return ::read(m_never.server(), &byte, sizeof(byte)) == sizeof(byte);
    }

private:
    const SocketPair m_always;
    const SocketPair m_never;
};

TEST_F(InterruptWaiterTest, IsStoppedInsideOfADeviceThatCannotBePolled) {
    UnpollableDevice device;
    InterruptWaiter waiter(device, false);
    for (unsigned int i = 0; i < 10; ++i) {
        const ArmedClient client(waiter);
        std::this_thread::yield();
        EXPECT_TRUE(client.hasNothing());
    }
}

TEST_F(InterruptWaiterTest, TracesNoFailureWhenItStops) {
    const TraceRecorder recorder(1, "Rynveld");
    FakeDevice device;
    InterruptWaiter waiter(device, true);
    for (unsigned int i = 0; i < 50; ++i) {
        const ArmedClient client(waiter);
    }
    EXPECT_EQ(recorder.lines(), EventLog{});
}

TEST_F(InterruptWaiterTest, HoldsOffASourceThatStaysActive) {
    FakeDevice device;
    InterruptWaiter waiter(device, true);
    device.activate();
    const auto begin = std::chrono::steady_clock::now();
    const ArmedClient client(waiter);
    constexpr std::uint32_t words = 5;
    std::uint32_t last = 0;
    for (std::uint32_t i = 0; i < words; ++i) {
        const std::uint32_t word = client.word();
        EXPECT_GT(word, last);
        last = word;
    }
    EXPECT_GE(std::chrono::steady_clock::now() - begin, (words - 1) * InterruptWaiter::defaultHoldOff);
}

TEST_F(InterruptWaiterTest, EndsTheHoldOffWhenAClientEnablesTheInterrupt) {
    FakeDevice device;
    InterruptWaiter waiter(device, true, never);
    const ArmedClient client(waiter);
    for (std::uint32_t word = 1; word <= 100; ++word) {
        device.pulse();
        ASSERT_EQ(client.word(), word);
        ASSERT_TRUE(waiter.enable());
    }
}

TEST_F(InterruptWaiterTest, HoldsOffUntilItIsStopped) {
    FakeDevice device;
    InterruptWaiter waiter(device, true, never);
    ArmedClient client(waiter);
    device.pulse();
    EXPECT_EQ(client.word(), 1U);
    client.disarm();
    EXPECT_TRUE(client.hasNothing());
}

TEST_F(InterruptWaiterTest, LeavesTheInterruptDisabledUntilAClientEnablesIt) {
    FakeDevice device;
    InterruptWaiter waiter(device, true, 0ms);
    ArmedClient client(waiter);
    device.pulse();
    EXPECT_EQ(client.word(), 1U);
    EXPECT_TRUE(waiter.disable());
    device.pulse();
    client.disarm();
    EXPECT_TRUE(client.hasNothing());
    EXPECT_EQ(device.count(), 1U);
    client.arm();
    EXPECT_EQ(client.word(), 2U);
    EXPECT_TRUE(waiter.disable());
    device.pulse();
    EXPECT_TRUE(waiter.enable());
    EXPECT_EQ(client.word(), 3U);
}

TEST_F(InterruptWaiterTest, LeavesTheInterruptDisabledWhenThatIsAskedForBeforeItsThreadBegins) {
    FakeDevice device;
    InterruptWaiter waiter(device, true, 0ms);
    device.activate();
    for (unsigned int round = 0; round < 100; ++round) {
        const ArmedClient client(waiter);
        ASSERT_TRUE(waiter.disable());
        const std::uint32_t count = device.count();
        for (unsigned int i = 0; i < 100; ++i) {
            std::this_thread::yield();
            ASSERT_EQ(device.count(), count);
        }
    }
}

TEST_F(InterruptWaiterTest, ReportsWhenTheInterruptCannotBeEnabled) {
    FakeDevice device;
    InterruptWaiter waiter(device, false);
    device.refuseToEnable();
    EXPECT_FALSE(waiter.enable());
}

TEST_F(InterruptWaiterTest, WaitsOnAfterASignal) {
    FakeDevice device(false);
    InterruptWaiter waiter(device, false);
    device.interruptTheNextWait();
    const ArmedClient client(waiter);
    EXPECT_TRUE(waiter.enable());
    device.pulse();
    EXPECT_EQ(client.word(), 1U);
}

TEST_F(InterruptWaiterTest, EndsWhileTheDeviceBlocksInItsEnabling) {
    FakeDevice device;
    device.blockWhenEnabled();
    InterruptWaiter waiter(device, true);
    const ArmedClient client(waiter);
}

class FailingDevice : public InterruptWaiterTest, public testing::WithParamInterface<bool> {};

INSTANTIATE_TEST_SUITE_P(WaitingEnables, FailingDevice, testing::Bool());

TEST_P(FailingDevice, HasItsClientsHungUp) {
    const TraceRecorder recorder(1, "Rynveld");
    FakeDevice device(GetParam());
    InterruptWaiter waiter(device, GetParam());
    const ArmedClient one(waiter);
    const ArmedClient other(waiter);
    device.fail();
    EXPECT_TRUE(one.isEnded());
    EXPECT_TRUE(other.isEnded());
    const std::string line =
        "Rynveld 1 traceFailure: Cannot receive interrupts from \"fake\" for client 10.0.0.7:4711.";
    EXPECT_EQ(recorder.lines(), (EventLog{line, line}));
    const ArmedClient later(waiter);
    EXPECT_TRUE(later.isEnded());
}

TEST_F(InterruptWaiterTest, HangsUpWhenTheInterruptCannotBeEnabled) {
    FakeDevice device;
    InterruptWaiter waiter(device, true);
    device.refuseToEnable();
    const ArmedClient client(waiter);
    EXPECT_TRUE(client.isEnded());
}

TEST_F(InterruptWaiterTest, LosesTheWordsOfASocketThatIsNotReadAndOfNoOther) {
    const TraceRecorder recorder(1, "Rynveld");
    FakeDevice device;
    InterruptWaiter waiter(device, true, 0ms);
    const ArmedClient lazy(waiter);
    constexpr int small = 1;
    ASSERT_EQ(::setsockopt(lazy.server(), SOL_SOCKET, SO_SNDBUF, &small, sizeof(small)), 0);
    const ArmedClient diligent(waiter);
    constexpr std::uint32_t words = 200;
    for (std::uint32_t word = 1; word <= words; ++word) {
        device.pulse();
        ASSERT_EQ(diligent.word(), word);
    }
    std::uint32_t kept = 0;
    while (!lazy.hasNothing()) {
        ++kept;
    }
    EXPECT_GT(kept, 0U);
    const auto lines = recorder.lines();
    EXPECT_FALSE(lines.empty());
    EXPECT_LE(lines.size(), Rynveld::TraceLimit::linesPerPeriod);
    for (const auto& line : lines) {
        EXPECT_EQ(line, "Rynveld 1 traceLoss: Client 10.0.0.7:4711 does not read its interrupts: one is lost.");
    }
}

/** Takes so long for a trace that the test can look at all else. */
class SlowTraces : public ZilTraceControl::Sink {
public:
    SlowTraces() {
        ZilTraceControl::setLevel("*", 0);
        ZilTraceControl::setLevel("Rynveld", 1);
    }
    SlowTraces(const SlowTraces&) = delete;
    SlowTraces& operator=(const SlowTraces&) = delete;
    ~SlowTraces() override {
        ZilTraceControl::setSink(m_before);
        ZilTraceControl::resetLevels();
    }

    void write(const ZilTraceControl::Record& /*record*/) override {
        m_isTracing = true;
        m_ended.wait();
    }

    bool isTracing() const { return m_isTracing; }
    void end() { m_end.set_value(); }

private:
    std::atomic<bool> m_isTracing{false};
    std::promise<void> m_end;
    const std::shared_future<void> m_ended = m_end.get_future().share();
    ZilTraceControl::Sink* const m_before = ZilTraceControl::setSink(this);
};

TEST_F(InterruptWaiterTest, ServesItsClientsWhileALossIsBeingTraced) {
    FakeDevice device;
    InterruptWaiter waiter(device, true, 0ms);
    const ArmedClient lazy(waiter);
    constexpr int small = 1;
    ASSERT_EQ(::setsockopt(lazy.server(), SOL_SOCKET, SO_SNDBUF, &small, sizeof(small)), 0);
    SlowTraces traces;
    ASSERT_TRUE(comesAbout([&] {
        device.pulse();
        return traces.isTracing();
    }));
    auto enabled = std::async(std::launch::async, [&] { return waiter.enable(); });
    EXPECT_EQ(enabled.wait_for(60s), std::future_status::ready);
    traces.end();
    EXPECT_TRUE(enabled.get());
}

/** Lets no thread start: the system has no room for its stack. */
class NoMoreThreads {
public:
    NoMoreThreads() {
        pthread_getattr_default_np(&m_before);
        pthread_attr_t attributes;
        pthread_attr_init(&attributes);
        pthread_attr_setstacksize(&attributes, SIZE_MAX / 4 * 3 / 4096 * 4096);
        pthread_setattr_default_np(&attributes);
        pthread_attr_destroy(&attributes);
    }
    NoMoreThreads(const NoMoreThreads&) = delete;
    NoMoreThreads& operator=(const NoMoreThreads&) = delete;
    ~NoMoreThreads() { pthread_setattr_default_np(&m_before); }

private:
    pthread_attr_t m_before{};
};

TEST_F(InterruptWaiterTest, ReportsThatTheSystemHasNoThreadLeftAndWorksWhenItHas) {
    FakeDevice device;
    InterruptWaiter waiter(device, true);
    SocketPair pair;
    {
        const NoMoreThreads noMoreThreads;
        EXPECT_THROW(waiter.arm(pair.server(), m_peer), std::system_error);
        waiter.disarm(pair.server());
    }
    const ArmedClient client(waiter);
    device.pulse();
    EXPECT_EQ(client.word(), 1U);
}

TEST_F(InterruptWaiterTest, StandsClientsThatComeAndGoWhileInterruptsArrive) {
    FakeDevice device;
    InterruptWaiter waiter(device, true, 0ms);
    const ArmedClient steady(waiter);
    std::vector<std::thread> threads;
    for (unsigned int i = 0; i < 4; ++i) {
        threads.emplace_back([&] {
            for (unsigned int round = 0; round < 200; ++round) {
                const ArmedClient client(waiter);
                waiter.enable();
                waiter.disable();
                waiter.enable();
            }
        });
    }
    for (std::uint32_t word = 1; word <= 200; ++word) {
        device.pulse();
        ASSERT_EQ(steady.word(), word);
    }
    for (auto& thread : threads) {
        thread.join();
    }
}

TEST_F(InterruptWaiterTest, StandsLastClientsThatComeAndGo) {
    FakeDevice device;
    InterruptWaiter waiter(device, true, 0ms);
    device.activate();
    std::vector<std::thread> threads;
    for (unsigned int i = 0; i < 3; ++i) {
        threads.emplace_back([&] {
            for (unsigned int round = 0; round < 200; ++round) {
                const ArmedClient client(waiter);
                waiter.enable();
                ASSERT_NE(client.word(), UINT32_MAX);
            }
        });
    }
    for (auto& thread : threads) {
        thread.join();
    }
}

} // namespace
} // namespace RynvelTest
