// SPDX-License-Identifier: MIT
#include "Session.h"

#include <array>
#include <thread>

#include <poll.h>
#include <sys/socket.h>

#include <gtest/gtest.h>

#include "LeasedFile.h"
#include "NoMoreThreads.h"
#include "RecordClient.h"
#include "SocketPair.h"
#include "TemporaryWorkingFolder.h"
#include "TraceRecorder.h"
#include "WakeUp.h"

namespace RynvelTest {
namespace {

using Rynveld::Fault;
using Rynveld::Policy;
using namespace std::chrono_literals;

Policy simulated(const std::vector<Fault>& faults = {}) {
    Policy policy;
    policy.simulate = true;
    policy.faults = faults;
    return policy;
}

/** A session in its own thread. The client receives the bytes of each send() of the server separately. */
class RunningSession {
public:
    explicit RunningSession(Policy policy = simulated(), std::chrono::milliseconds idleTimeout = 0ms)
        : m_policy(std::move(policy)),
          m_devices(m_policy),
          m_session(m_pair.releaseServer(), {"the client", "its host", m_limit}, m_devices, m_policy, idleTimeout) {
        Rynveld::installWakeUpHandler();
        m_thread = std::thread([this] { m_session.run(); });
    }
    RunningSession(const RunningSession&) = delete;
    RunningSession& operator=(const RunningSession&) = delete;
    ~RunningSession() {
        m_session.stop();
        m_thread.join();
    }

    const RecordClient& client() const { return m_client; }

    /** Makes the session end after the current request, as the server does when it ends. */
    void stop() { m_session.stop(); }

    /** Waits until the session ends without a call of stop(). */
    void join() {
        m_thread.join();
        m_thread = std::thread([] {});
    }

    /** Sends a request, and expects the server to send the answer in pieces of these sizes in bytes. */
    void expectPieces(const Request& request, const std::vector<ssize_t>& sizes) const {
        EXPECT_TRUE(m_client.send(request));
        for (const ssize_t size : sizes) {
            std::array<char, 1024> bytes{};
            EXPECT_EQ(::recv(m_client.socket(), bytes.data(), bytes.size(), 0), size);
        }
    }

private:
    SocketPair m_pair{SOCK_SEQPACKET};
    const Rynveld::CurrentPolicy m_policy;
    Rynveld::ServedDevices m_devices;
    Rynveld::TraceLimit m_limit;
    const RecordClient m_client = RecordClient::on(m_pair.releaseClient());
    Rynveld::Session m_session;
    std::thread m_thread;
};

constexpr ssize_t responseSize = 520;
constexpr ssize_t wordSize = 4;

TEST(Session, SendsEveryResponseInOnePiece) {
    const RunningSession session;
    for (const auto& request :
         {Request(Type::Open, "uio.32"), readOf("uio.32", 0, 128), readOf("uio.32", 0, 0), writeOf("uio.32", 0, {1, 2}),
          Request(Type::Open, "nothing"), Request(Type::WaitForInterrupt, "uio.32"), Request(Type::Close, "uio.32")}) {
        session.expectPieces(request, {responseSize});
    }
}

TEST(Session, SendsAnInterruptInOnePieceAfterTheResponse) {
    const RunningSession session;
    session.client().open("uio.32");
    EXPECT_TRUE(session.client().succeeds(raiseOf("uio.32", {7})));
    session.expectPieces(Request(Type::WaitForInterrupt, "uio.32"), {responseSize, wordSize});
}

TEST(Session, SendsNoInterruptIntoAnAnswerThatComesInHalves) {
    const RunningSession session(simulated({{Fault::Kind::Split, 20ms, 3}}));
    session.client().open("uio.32");
    EXPECT_TRUE(session.client().succeeds(raiseOf("uio.32", {7})));
    session.expectPieces(Request(Type::WaitForInterrupt, "uio.32"), {responseSize / 2, responseSize / 2, wordSize});
}

TEST(Session, EndsTheArmingWithTheNextRequest) {
    const RunningSession session;
    const auto& client = session.client();
    client.open("uio.32");
    for (std::uint32_t round = 1; round <= 20; ++round) {
        EXPECT_TRUE(client.succeeds(Request(Type::WaitForInterrupt, "uio.32")));
        EXPECT_TRUE(client.succeeds(Request(Type::DisableInterrupt, "uio.32")));
        EXPECT_TRUE(client.succeeds(raiseOf("uio.32", {round})));
        EXPECT_TRUE(client.succeeds(Request(Type::WaitForInterrupt, "uio.32")));
        EXPECT_EQ(client.interrupt(), round);
    }
}

TEST(Session, StaysDisarmedAfterARefusedRequest) {
    const RunningSession session;
    EXPECT_TRUE(session.client().isRefused(Request(Type::Open, "nothing")));
    EXPECT_TRUE(session.client().isRefused(Request(Type::WaitForInterrupt, "uio.32")));
    session.client().open("seek.8");
    EXPECT_TRUE(session.client().isRefused(Request(Type::WaitForInterrupt, "seek.8")));
    EXPECT_TRUE(session.client().succeeds(Request(Type::Close, "seek.8")));
}

TEST(Session, RefusesToArmTheConnectionWhenNoThreadIsLeft) {
    const RunningSession session;
    session.client().open("uio.32");
    {
        const NoMoreThreads noMoreThreads;
        EXPECT_TRUE(session.client().isRefused(Request(Type::WaitForInterrupt, "uio.32")));
    }
    EXPECT_TRUE(session.client().succeeds(Request(Type::WaitForInterrupt, "uio.32")));
}

TEST(Session, EndsWithoutAnAnswerAtARecordThatIsNotARequest) {
    for (const bool isFirst : {true, false}) {
        RunningSession session(simulated({{Fault::Kind::Error, 0ms, 1}}));
        if (!isFirst) {
            EXPECT_TRUE(session.client().isRefused(Request(Type::Open, "uio.32")));
        }
        EXPECT_TRUE(session.client().send(Request(static_cast<Type>(14), "uio.32")));
        session.join();
        session.stop();
        EXPECT_TRUE(session.client().isEnded());
    }
}

TEST(Session, ReleasesItsDeviceInItsOwnThread) {
    const TemporaryWorkingFolder folder;
    TemporaryWorkingFolder::makeFile("registers.seek", 16);
    RunningSession session(Policy{});
    session.client().open("seek.8");
    ::shutdown(session.client().socket(), SHUT_WR);
    session.join();
    // The system refuses the lease if the file is still open.
    const LeasedFile file("registers.seek");
    EXPECT_TRUE(session.client().isEnded());
}

TEST(Session, EndsWhenTheClientIsIdle) {
    RunningSession session(simulated(), 1ms);
    session.join();
}

TEST(Session, ContinuesWhenTheClientIsIdleAndArmed) {
    RunningSession session(simulated(), 200ms);
    session.client().arm("uio.32");
    pollfd end{session.client().socket(), POLLIN, 0};
    EXPECT_EQ(::poll(&end, 1, 600), 0);
    EXPECT_TRUE(session.client().succeeds(Request(Type::Close, "uio.32")));
    session.join();
}

TEST(Session, AnswersWithErrorIfTheFaultIsError) {
    const TraceRecorder recorder(4, "Rynveld");
    const RunningSession session(simulated({{Fault::Kind::Error, 0ms, 2}}));
    session.client().open("uio.32");
    EXPECT_TRUE(session.client().isRefused(writeOf("uio.32", 0, {7})));
    EXPECT_EQ(session.client().values(readOf("uio.32", 0)), Values{0});
    EXPECT_EQ(
        recorder.lines(),
        EventLog{"Rynveld 4 refuse: Request of type 7 from the client for \"uio.32\" refused: a fault is simulated."});
}

TEST(Session, SplitsItsAnswersIfTheFaultIsSplit) {
    const RunningSession session(simulated({{Fault::Kind::Split, 1ms, 2}}));
    session.expectPieces(Request(Type::Open, "uio.32"), {responseSize});
    session.expectPieces(readOf("uio.32", 0), {responseSize / 2, responseSize / 2});
}

TEST(Session, DelaysItsAnswersIfTheFaultIsDelay) {
    const RunningSession session(simulated({{Fault::Kind::Delay, 20ms, 1}}));
    const auto begin = std::chrono::steady_clock::now();
    session.client().open("uio.32");
    EXPECT_GE(std::chrono::steady_clock::now() - begin, 20ms);
}

TEST(Session, EndsAtOnceWhileItDelaysAnAnswer) {
    const RunningSession session(simulated({{Fault::Kind::Delay, 24h, 1}}));
    EXPECT_TRUE(session.client().send(Request(Type::Open, "uio.32")));
}

TEST(Session, EndsIfTheFaultIsDisconnect) {
    RunningSession session(simulated({{Fault::Kind::Disconnect, 0ms, 2}}));
    session.client().open("uio.32");
    EXPECT_TRUE(session.client().send(readOf("uio.32", 0)));
    session.join();
}

} // namespace
} // namespace RynvelTest
