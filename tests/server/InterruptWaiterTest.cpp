// SPDX-License-Identifier: MIT
#include "InterruptWaiter.h"

#include <ZilTraceControl.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <future>
#include <system_error>

#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "BecomesTrue.h"
#include "NoMoreThreads.h"
#include "RecordClient.h"
#include "SocketPair.h"
#include "TraceRecorder.h"
#include "WakeUp.h"

namespace RynvelTest {
namespace {

using Rynveld::InterruptWaiter;
using namespace std::chrono_literals;

/**
 * A device with an interrupt, like a UIO device. If the source is active and the interrupt is enabled, the interrupt
 * fires and is then disabled. The interrupt word is the number of interrupts so far.
 */
class FakeDevice : public Rynvel::IDevice {
public:
    explicit FakeDevice(bool waitEnablesInterrupt = true)
        : IDevice("fake"), m_waitEnablesInterrupt(waitEnablesInterrupt) {}

    /** Activates the source. The interrupt then fires whenever it is enabled. */
    void activate() {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_active = true;
        fire();
    }
    /** Raises one interrupt as soon as the interrupt is enabled. */
    void pulse() {
        const std::lock_guard<std::mutex> lock(m_mutex);
        ++m_pulses;
        fire();
    }
    /** Makes the next wait fail with EINTR, as if a signal had arrived. */
    void interruptTheNextWait() { m_waitIsInterrupted = true; }
    /** Makes enableInterrupt() block until the thread receives a signal. */
    void blockWhenEnabled() { m_enablingBlocks = true; }
    void refuseToEnable() { m_refuses = true; }
    /** Makes every later wait fail. */
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
    std::atomic<bool> m_refuses{false};
    const SocketPair m_events{SOCK_DGRAM};
    mutable std::mutex m_mutex;
    bool m_active = false;
    unsigned int m_pulses = 0;
    bool m_enabled = false;
    std::uint32_t m_count = 0;
};

/** A client whose connection is armed from construction to disarm(). */
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

    /** Returns the next interrupt word. */
    std::uint32_t word() const { return m_client.interrupt(); }
    bool isEnded() const { return m_client.isEnded(); }
    bool hasNothing() const { return m_client.hasNothing(); }
    /** Limits the send buffer of the server to a few interrupt words. */
    void leaveLittleRoom() const {
        constexpr int small = 1;
        EXPECT_EQ(::setsockopt(m_pair.server(), SOL_SOCKET, SO_SNDBUF, &small, sizeof(small)), 0);
    }

private:
    Rynveld::TraceLimit m_limit;
    const Rynveld::Peer m_peer{"10.0.0.7:4711", "10.0.0.7", m_limit};
    SocketPair m_pair;
    const RecordClient m_client = RecordClient::on(m_pair.releaseClient());
    InterruptWaiter& m_waiter;
};

/** A fixture for an interrupt waiter. By default, a wait enables the interrupt, and the hold-off time is 0. */
class InterruptWaiterTest : public testing::Test {
protected:
    static constexpr auto never = std::chrono::milliseconds(24h);

    explicit InterruptWaiterTest(bool waitEnablesInterrupt = true, std::chrono::milliseconds holdOff = 0ms)
        : m_device(waitEnablesInterrupt), m_waiter(m_device, waitEnablesInterrupt, m_counts, holdOff) {
        Rynveld::installWakeUpHandler();
    }

    /** Raises one interrupt. Returns whether each client receives the word. */
    template <typename... Clients>
    bool pulseArrives(std::uint32_t word, const Clients&... clients) {
        m_device.pulse();
        return ((clients.word() == word) && ...);
    }

    Rynveld::TraceLimit m_limit;
    const Rynveld::Peer m_peer{"", "", m_limit};
    FakeDevice m_device;
    Rynveld::DeviceCounts m_counts;
    InterruptWaiter m_waiter;
};

class WaitingDoesNotEnable : public InterruptWaiterTest {
protected:
    WaitingDoesNotEnable() : InterruptWaiterTest(false) {}
};

class HeldOffForLong : public InterruptWaiterTest {
protected:
    HeldOffForLong() : InterruptWaiterTest(true, never) {}
};

TEST_F(InterruptWaiterTest, SendsEachWordToAllArmedSockets) {
    const ArmedClient one(m_waiter);
    const ArmedClient other(m_waiter);
    for (std::uint32_t word = 1; word <= 100; ++word) {
        ASSERT_TRUE(pulseArrives(word, one, other));
    }
}

TEST_F(WaitingDoesNotEnable, SendsWordsInNetworkOrder) {
    SocketPair pair(SOCK_SEQPACKET);
    m_waiter.arm(pair.server(), m_peer);
    m_waiter.startDelivery(pair.server());
    m_device.enableInterrupt();
    m_device.pulse();
    std::array<unsigned char, 8> bytes{};
    EXPECT_EQ(::recv(pair.client(), bytes.data(), bytes.size(), 0), 4);
    EXPECT_EQ(bytes, (std::array<unsigned char, 8>{0, 0, 0, 1}));
    m_waiter.disarm(pair.server());
}

TEST_F(WaitingDoesNotEnable, DoesNotEnableTheInterruptAgain) {
    const ArmedClient client(m_waiter);
    EXPECT_TRUE(m_waiter.enable());
    EXPECT_TRUE(pulseArrives(1, client));
    EXPECT_FALSE(m_device.isEnabled());
}

TEST_F(InterruptWaiterTest, SendsNothingToASocketThatIsNoLongerArmed) {
    ArmedClient one(m_waiter);
    const ArmedClient other(m_waiter);
    one.disarm();
    EXPECT_TRUE(pulseArrives(1, other));
    EXPECT_TRUE(one.hasNothing());
    one.arm();
    EXPECT_TRUE(pulseArrives(2, one, other));
}

TEST_F(HeldOffForLong, StopsWaitingAfterTheLastSocketAndResumesWithTheNext) {
    for (std::uint32_t round = 1; round <= 20; ++round) {
        ArmedClient client(m_waiter);
        ASSERT_TRUE(pulseArrives(round, client));
        client.disarm();
        m_device.disableInterrupt();
        m_device.pulse();
        ASSERT_EQ(m_device.count(), round);
        ASSERT_TRUE(client.hasNothing());
        client.arm();
        ASSERT_EQ(client.word(), ++round);
    }
}

TEST_F(InterruptWaiterTest, KeepsTheWordsForASocketUntilDeliveryStarts) {
    const SocketPair pair;
    const RecordClient client = RecordClient::on(::dup(pair.client()));
    m_waiter.arm(pair.server(), m_peer);
    const ArmedClient other(m_waiter);
    for (std::uint32_t word = 1; word <= 3; ++word) {
        ASSERT_TRUE(pulseArrives(word, other));
    }
    EXPECT_TRUE(client.hasNothing());
    m_waiter.startDelivery(pair.server());
    m_device.pulse();
    for (std::uint32_t word = 1; word <= 4; ++word) {
        EXPECT_EQ(client.interrupt(), word);
    }
    m_waiter.disarm(pair.server());
}

std::atomic<unsigned int> wakeUps{0};

TEST_F(HeldOffForLong, StopsWithoutASignalWhileItWaits) {
    struct sigaction count {};
    struct sigaction before {};
    count.sa_handler = [](int /*signal*/) { ++wakeUps; };
    ASSERT_EQ(sigaction(SIGUSR1, &count, &before), 0);
    for (unsigned int i = 0; i < 50; ++i) {
        const ArmedClient client(m_waiter);
        std::this_thread::yield();
    }
    EXPECT_EQ(wakeUps, 0U);
    sigaction(SIGUSR1, &before, nullptr);
}

/** A device whose descriptor is always readable, as with a driver without poll support. */
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

TEST_F(InterruptWaiterTest, StopsInsideADeviceThatCannotBePolled) {
    UnpollableDevice device;
    InterruptWaiter waiter(device, false, m_counts);
    for (unsigned int i = 0; i < 10; ++i) {
        const ArmedClient client(waiter);
        std::this_thread::yield();
        EXPECT_TRUE(client.hasNothing());
    }
}

TEST_F(InterruptWaiterTest, TracesNoFailureWhenItStops) {
    const TraceRecorder recorder(1, "Rynveld");
    for (unsigned int i = 0; i < 50; ++i) {
        const ArmedClient client(m_waiter);
    }
    EXPECT_EQ(recorder.lines(), EventLog{});
}

TEST_F(InterruptWaiterTest, HoldsOffASourceThatStaysActive) {
    InterruptWaiter waiter(m_device, true, m_counts);
    m_device.activate();
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

TEST_F(HeldOffForLong, EndsTheHoldOffWhenAClientEnablesTheInterrupt) {
    const ArmedClient client(m_waiter);
    for (std::uint32_t word = 1; word <= 100; ++word) {
        ASSERT_TRUE(pulseArrives(word, client));
        ASSERT_TRUE(m_waiter.enable());
    }
}

TEST_F(HeldOffForLong, HoldsOffUntilItIsStopped) {
    ArmedClient client(m_waiter);
    EXPECT_TRUE(pulseArrives(1, client));
    client.disarm();
    EXPECT_TRUE(client.hasNothing());
}

TEST_F(InterruptWaiterTest, LeavesTheInterruptDisabledUntilAClientEnablesIt) {
    ArmedClient client(m_waiter);
    EXPECT_TRUE(pulseArrives(1, client));
    EXPECT_TRUE(m_waiter.disable());
    m_device.pulse();
    client.disarm();
    EXPECT_TRUE(client.hasNothing());
    EXPECT_EQ(m_device.count(), 1U);
    client.arm();
    EXPECT_EQ(client.word(), 2U);
    EXPECT_TRUE(m_waiter.disable());
    m_device.pulse();
    EXPECT_TRUE(m_waiter.enable());
    EXPECT_EQ(client.word(), 3U);
}

TEST_F(InterruptWaiterTest, LeavesTheInterruptDisabledWhenAClientDisablesItAtOnce) {
    m_device.activate();
    for (unsigned int round = 0; round < 100; ++round) {
        const ArmedClient client(m_waiter);
        ASSERT_TRUE(m_waiter.disable());
        const std::uint32_t count = m_device.count();
        for (unsigned int i = 0; i < 100; ++i) {
            std::this_thread::yield();
            ASSERT_EQ(m_device.count(), count);
        }
    }
}

TEST_F(WaitingDoesNotEnable, ReportsWhenTheInterruptCannotBeEnabled) {
    m_device.refuseToEnable();
    EXPECT_FALSE(m_waiter.enable());
}

TEST_F(WaitingDoesNotEnable, ContinuesToWaitAfterASignal) {
    m_device.interruptTheNextWait();
    const ArmedClient client(m_waiter);
    EXPECT_TRUE(m_waiter.enable());
    EXPECT_TRUE(pulseArrives(1, client));
}

TEST_F(InterruptWaiterTest, EndsWhileEnablingTheInterruptBlocks) {
    m_device.blockWhenEnabled();
    const ArmedClient client(m_waiter);
}

class FailingDevice : public InterruptWaiterTest, public testing::WithParamInterface<bool> {
protected:
    FailingDevice() : InterruptWaiterTest(GetParam()) {}
};

INSTANTIATE_TEST_SUITE_P(WaitingEnables, FailingDevice, testing::Bool());

TEST_P(FailingDevice, ClosesTheConnectionsOfItsClients) {
    const TraceRecorder recorder(1, "Rynveld");
    const ArmedClient one(m_waiter);
    const ArmedClient other(m_waiter);
    m_device.fail();
    EXPECT_TRUE(one.isEnded());
    EXPECT_TRUE(other.isEnded());
    const std::string line =
        "Rynveld 1 traceFailure: Cannot receive interrupts from \"fake\" for client 10.0.0.7:4711.";
    EXPECT_EQ(recorder.lines(), (EventLog{line, line}));
    const ArmedClient later(m_waiter);
    EXPECT_TRUE(later.isEnded());
}

TEST_F(InterruptWaiterTest, ClosesTheConnectionsWhenTheInterruptCannotBeEnabled) {
    m_device.refuseToEnable();
    const ArmedClient client(m_waiter);
    EXPECT_TRUE(client.isEnded());
}

TEST_F(InterruptWaiterTest, LosesOnlyTheWordsOfAnUnreadSocket) {
    const TraceRecorder recorder(1, "Rynveld");
    const ArmedClient lazy(m_waiter);
    lazy.leaveLittleRoom();
    const ArmedClient diligent(m_waiter);
    for (std::uint32_t word = 1; word <= 200; ++word) {
        ASSERT_TRUE(pulseArrives(word, diligent));
    }
    EXPECT_FALSE(lazy.hasNothing());
    EXPECT_EQ(m_counts.interruptsReceived, 200U);
    EXPECT_TRUE(becomesTrue([this] { return m_counts.interruptsSent + m_counts.interruptsLost == 400U; }));
    EXPECT_GE(m_counts.interruptsSent, 200U);
    EXPECT_GT(m_counts.interruptsLost, 0U);
    const auto lines = recorder.lines();
    EXPECT_FALSE(lines.empty());
    EXPECT_LE(lines.size(), Rynveld::TraceLimit::linesPerPeriod);
    for (const auto& line : lines) {
        EXPECT_EQ(line, "Rynveld 1 traceLoss: Client 10.0.0.7:4711 does not read its interrupts: one is lost.");
    }
}

/** A connection that is armed, but to which the waiter does not deliver words yet. */
class SocketWithoutDelivery {
public:
    SocketWithoutDelivery(InterruptWaiter& waiter, const Rynveld::Peer& peer) : m_waiter(waiter) {
        m_waiter.arm(m_pair.server(), peer);
    }
    SocketWithoutDelivery(const SocketWithoutDelivery&) = delete;
    SocketWithoutDelivery& operator=(const SocketWithoutDelivery&) = delete;
    ~SocketWithoutDelivery() { m_waiter.disarm(m_pair.server()); }

    int server() const { return m_pair.server(); }
    void startDelivery() const { m_waiter.startDelivery(m_pair.server()); }

private:
    const SocketPair m_pair{SOCK_STREAM};
    InterruptWaiter& m_waiter;
};

TEST_F(InterruptWaiterTest, LosesWordsIfDeliveryStartsTooLate) {
    const SocketWithoutDelivery late(m_waiter, m_peer);
    const ArmedClient diligent(m_waiter);
    for (std::uint32_t word = 1; m_counts.interruptsLost == 0; ++word) {
        ASSERT_TRUE(pulseArrives(word, diligent));
        ASSERT_LT(word, 1000000U);
    }
    const std::uint64_t kept = m_counts.interruptsReceived - m_counts.interruptsLost;
    EXPECT_TRUE(becomesTrue([&] { return m_counts.interruptsSent == m_counts.interruptsReceived; }));
    const std::uint64_t sent = m_counts.interruptsSent;
    const std::uint64_t lost = m_counts.interruptsLost;
    late.startDelivery();
    EXPECT_GT(m_counts.interruptsSent, sent);
    EXPECT_EQ(m_counts.interruptsSent - sent + m_counts.interruptsLost - lost, kept);
}

TEST_F(InterruptWaiterTest, TracesTheWordsThatASocketHasNoRoomForWhenDeliveryStarts) {
    const TraceRecorder recorder(1, "Rynveld");
    const SocketWithoutDelivery late(m_waiter, m_peer);
    const ArmedClient diligent(m_waiter);
    ASSERT_TRUE(pulseArrives(1, diligent));
    const std::array<char, 65536> bytes{};
    while (::send(late.server(), bytes.data(), bytes.size(), MSG_DONTWAIT) > 0) {
    }
    while (::send(late.server(), bytes.data(), 1, MSG_DONTWAIT) > 0) {
    }
    late.startDelivery();
    EXPECT_EQ(m_counts.interruptsLost, 1U);
    EXPECT_EQ(recorder.lines().size(), 1U);
}

/** A trace sink that blocks until the test calls end(). */
class SlowTraces : public ZilTraceControl::Sink {
public:
    SlowTraces() {
        ZilTraceControl::setLevel("*", 0);
        ZilTraceControl::setLevel("Rynveld", 1);
    }
    SlowTraces(const SlowTraces&) = delete;
    SlowTraces& operator=(const SlowTraces&) = delete;
    // setSink() waits until no thread uses this sink, so the destructor calls setSink() while the members still exist.
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

TEST_F(InterruptWaiterTest, ServesItsClientsWhileItTracesALostWord) {
    const ArmedClient lazy(m_waiter);
    lazy.leaveLittleRoom();
    SlowTraces traces;
    ASSERT_TRUE(becomesTrue([&] {
        m_device.pulse();
        return traces.isTracing();
    }));
    auto enabled = std::async(std::launch::async, [&] { return m_waiter.enable(); });
    EXPECT_EQ(enabled.wait_for(60s), std::future_status::ready);
    traces.end();
    EXPECT_TRUE(enabled.get());
}

TEST_F(InterruptWaiterTest, ReportsThatNoThreadCanStartAndWorksWhenOneCan) {
    SocketPair pair;
    {
        const NoMoreThreads noMoreThreads;
        EXPECT_THROW(m_waiter.arm(pair.server(), m_peer), std::system_error);
        m_waiter.disarm(pair.server());
    }
    const ArmedClient client(m_waiter);
    EXPECT_TRUE(pulseArrives(1, client));
}

TEST_F(InterruptWaiterTest, SurvivesClientsThatArmAndDisarmWhileInterruptsArrive) {
    const ArmedClient steady(m_waiter);
    std::vector<std::future<void>> clients;
    for (unsigned int i = 0; i < 4; ++i) {
        clients.push_back(std::async(std::launch::async, [&] {
            for (unsigned int round = 0; round < 200; ++round) {
                const ArmedClient client(m_waiter);
                m_waiter.enable();
                m_waiter.disable();
                m_waiter.enable();
            }
        }));
    }
    for (std::uint32_t word = 1; word <= 200; ++word) {
        ASSERT_TRUE(pulseArrives(word, steady));
    }
}

TEST_F(InterruptWaiterTest, SurvivesWhenTheLastClientsArmAndDisarm) {
    m_device.activate();
    std::vector<std::future<void>> clients;
    for (unsigned int i = 0; i < 3; ++i) {
        clients.push_back(std::async(std::launch::async, [&] {
            for (unsigned int round = 0; round < 200; ++round) {
                const ArmedClient client(m_waiter);
                m_waiter.enable();
                ASSERT_NE(client.word(), UINT32_MAX);
            }
        }));
    }
}

} // namespace
} // namespace RynvelTest
