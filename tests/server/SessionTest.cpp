#include "Session.h"

#include <sys/socket.h>

#include <array>
#include <thread>

#include <gtest/gtest.h>

#include "LeasedFile.h"
#include "OwnFolder.h"
#include "RecordClient.h"
#include "SocketPair.h"
#include "TraceRecorder.h"
#include "WakeUp.h"

namespace RynvelTest {
namespace {

using Rynvel::Request;
using Rynvel::RequestData;
using Rynvel::Response;
using Rynveld::Fault;
using Rynveld::Policy;
using Rynveld::ServedDevices;
using Type = RequestData::Type;
using namespace std::chrono_literals;

Policy simulated(const std::vector<Fault>& faults = {}) {
    Policy policy;
    policy.simulate = true;
    policy.faults = faults;
    return policy;
}

/** A session in a thread of its own. Each call of send() of the server arrives at its client by itself. */
class RunningSession {
public:
    explicit RunningSession(const std::vector<Fault>& faults = {}, std::chrono::milliseconds idleTimeout = 0ms)
        : RunningSession(idleTimeout, simulated(faults)) {}
    RunningSession(std::chrono::milliseconds idleTimeout, Policy policy)
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

    /** Ends the connection, as the server does when the session has ended. */
    void stop() { m_session.stop(); }

    /** Waits for the session to end by itself. */
    void join() {
        m_thread.join();
        m_thread = std::thread([] {});
    }

    /** The size of what the server sent with its next call. */
    ssize_t nextPiece() const {
        std::array<char, 1024> bytes{};
        return ::recv(m_client.socket(), bytes.data(), bytes.size(), 0);
    }

private:
    SocketPair m_pair{SOCK_SEQPACKET};
    const Policy m_policy;
    ServedDevices m_devices;
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
         {Request(Type::Open, "uio.32"), readOf(Type::Read32, "uio.32", 0, 128), readOf(Type::Read32, "uio.32", 0, 0),
          requestOf(Type::Write32, "uio.32", 0, {1, 2}), Request(Type::Open, "nothing"),
          Request(Type::WaitForInterrupt, "uio.32"), Request(Type::Close, "uio.32")}) {
        EXPECT_TRUE(session.client().send(request));
        EXPECT_EQ(session.nextPiece(), responseSize);
    }
}

TEST(Session, SendsAnInterruptInOnePieceAfterTheResponse) {
    const RunningSession session;
    EXPECT_TRUE(session.client().succeeds(Request(Type::Open, "uio.32")));
    EXPECT_TRUE(session.client().succeeds(requestOf(Type::Debug, "uio.32", 0, {7})));
    EXPECT_TRUE(session.client().send(Request(Type::WaitForInterrupt, "uio.32")));
    EXPECT_EQ(session.nextPiece(), responseSize);
    EXPECT_EQ(session.nextPiece(), wordSize);
}

TEST(Session, SendsNoInterruptIntoAnAnswerThatComesInHalves) {
    const RunningSession session({{Fault::Kind::Split, 20ms, 3}});
    EXPECT_TRUE(session.client().succeeds(Request(Type::Open, "uio.32")));
    EXPECT_TRUE(session.client().succeeds(requestOf(Type::Debug, "uio.32", 0, {7})));
    EXPECT_TRUE(session.client().send(Request(Type::WaitForInterrupt, "uio.32")));
    EXPECT_EQ(session.nextPiece(), responseSize / 2);
    EXPECT_EQ(session.nextPiece(), responseSize / 2);
    EXPECT_EQ(session.nextPiece(), wordSize);
}

TEST(Session, EndsTheArmingWithTheNextRequest) {
    const RunningSession session;
    const auto& client = session.client();
    EXPECT_TRUE(client.succeeds(Request(Type::Open, "uio.32")));
    for (std::uint32_t round = 1; round <= 20; ++round) {
        EXPECT_TRUE(client.succeeds(Request(Type::WaitForInterrupt, "uio.32")));
        EXPECT_TRUE(client.succeeds(Request(Type::DisableInterrupt, "uio.32")));
        EXPECT_TRUE(client.succeeds(requestOf(Type::Debug, "uio.32", 0, {round})));
        EXPECT_TRUE(client.succeeds(Request(Type::WaitForInterrupt, "uio.32")));
        EXPECT_EQ(client.interrupt(), round);
    }
}

TEST(Session, IsNotArmedByARefusal) {
    const RunningSession session;
    EXPECT_TRUE(session.client().isRefused(Request(Type::Open, "nothing")));
    EXPECT_TRUE(session.client().isRefused(Request(Type::WaitForInterrupt, "uio.32")));
    EXPECT_TRUE(session.client().succeeds(Request(Type::Open, "seek.8")));
    EXPECT_TRUE(session.client().isRefused(Request(Type::WaitForInterrupt, "seek.8")));
    EXPECT_TRUE(session.client().succeeds(Request(Type::Close, "seek.8")));
}

TEST(Session, EndsWithoutAnAnswerAtARecordThatIsNoRequest) {
    for (const bool isFirst : {true, false}) {
        RunningSession session({{Fault::Kind::Error, 0ms, 1}});
        if (!isFirst) {
            EXPECT_TRUE(session.client().isRefused(Request(Type::Open, "uio.32")));
        }
        EXPECT_TRUE(session.client().send(Request(static_cast<Type>(14), "uio.32")));
        session.join();
        session.stop();
        EXPECT_TRUE(session.client().isEnded());
    }
}

TEST(Session, LetsGoOfItsDeviceInItsOwnThread) {
    const OwnFolder folder;
    OwnFolder::makeFile("registers.seek", 16);
    RunningSession session(0ms, Policy{});
    EXPECT_TRUE(session.client().succeeds(Request(Type::Open, "seek.8")));
    ::shutdown(session.client().socket(), SHUT_WR);
    session.join();
    // Nobody has the file open.
    const LeasedFile file("registers.seek");
    EXPECT_TRUE(session.client().isEnded());
}

TEST(Session, EndsWhenTheClientIsIdle) {
    RunningSession session({}, 1ms);
    session.join();
}

TEST(Session, StaysWhenTheClientIsIdleAndArmed) {
    RunningSession session({}, 200ms);
    EXPECT_TRUE(session.client().succeeds(Request(Type::Open, "uio.32")));
    EXPECT_TRUE(session.client().succeeds(Request(Type::WaitForInterrupt, "uio.32")));
    timeval timeout{0, 600000};
    ::setsockopt(session.client().socket(), SOL_SOCKET, SO_RCVTIMEO, &timeout, sizeof(timeout));
    EXPECT_FALSE(session.client().isEnded());
    timeout = {60, 0};
    ::setsockopt(session.client().socket(), SOL_SOCKET, SO_RCVTIMEO, &timeout, sizeof(timeout));
    EXPECT_TRUE(session.client().succeeds(Request(Type::Close, "uio.32")));
    session.join();
}

TEST(Session, AnswersWithErrorWhereThatIsItsFault) {
    const TraceRecorder recorder(4, "Rynveld");
    const RunningSession session({{Fault::Kind::Error, 0ms, 2}});
    EXPECT_TRUE(session.client().succeeds(Request(Type::Open, "uio.32")));
    EXPECT_TRUE(session.client().isRefused(requestOf(Type::Write32, "uio.32", 0, {7})));
    EXPECT_EQ(valuesOf(session.client().exchange(readOf(Type::Read32, "uio.32", 0))), std::vector<std::uint32_t>{0});
    EXPECT_EQ(
        recorder.lines(),
        EventLog{"Rynveld 4 refuse: Request of type 7 from the client for \"uio.32\" refused: a fault is simulated."});
}

TEST(Session, SplitsItsAnswersWhereThatIsItsFault) {
    const RunningSession session({{Fault::Kind::Split, 1ms, 2}});
    EXPECT_TRUE(session.client().send(Request(Type::Open, "uio.32")));
    EXPECT_EQ(session.nextPiece(), responseSize);
    EXPECT_TRUE(session.client().send(readOf(Type::Read32, "uio.32", 0)));
    EXPECT_EQ(session.nextPiece(), responseSize / 2);
    EXPECT_EQ(session.nextPiece(), responseSize / 2);
}

TEST(Session, HoldsItsAnswersBackWhereThatIsItsFault) {
    const RunningSession session({{Fault::Kind::Delay, 20ms, 1}});
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_TRUE(session.client().succeeds(Request(Type::Open, "uio.32")));
    EXPECT_GE(std::chrono::steady_clock::now() - begin, 20ms);
}

TEST(Session, EndsAtOnceWhileItHoldsAnAnswerBack) {
    const RunningSession session({{Fault::Kind::Delay, 24h, 1}});
    EXPECT_TRUE(session.client().send(Request(Type::Open, "uio.32")));
}

TEST(Session, EndsWhereThatIsItsFault) {
    RunningSession session({{Fault::Kind::Disconnect, 0ms, 2}});
    EXPECT_TRUE(session.client().succeeds(Request(Type::Open, "uio.32")));
    EXPECT_TRUE(session.client().send(readOf(Type::Read32, "uio.32", 0)));
    session.join();
}

} // namespace
} // namespace RynvelTest
