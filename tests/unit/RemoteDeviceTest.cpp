// SPDX-License-Identifier: MIT
#include "RemoteDevice.h"

#include <array>
#include <csignal>
#include <functional>
#include <thread>
#include <tuple>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "LocalSocket.h"
#include "LoopbackListener.h"
#include "NoMoreDescriptors.h"
#include "RequestBytes.h"
#include "TemporaryWorkingFolder.h"
#include "TestPeer.h"
#include "TraceRecorder.h"

namespace RynvelTest {
namespace {

using Common::Deadline;
using Common::ExchangeError;
using Common::RecordConnection;
using Common::RemoteDevice;
using Rynvel::ByteOrder;
using Cause = ExchangeError::Cause;
using std::chrono::milliseconds;

/** A time-out that does not expire in a test that passes. It is shorter than the time-out of the test program. */
constexpr milliseconds longTime(60'000);
/** The time-out of a test that expects nothing to arrive. */
constexpr milliseconds shortTime(20);

/** A fixture for remote devices of a server that the test controls. */
class RemoteDevices : public testing::Test {
protected:
    Common::ServerAddress server() const { return {"127.0.0.1", m_peer.port()}; }

    RemoteDevice device(unsigned int width = 32) {
        return {server(), "remote", width, [this] { return Deadline(m_timeout); }};
    }

    /** Returns a remote device. The server opens the device and then sends the replies. */
    RemoteDevice deviceThatGets(const std::vector<Reply>& replies) {
        m_peer.script({success()});
        m_peer.script(replies);
        return device();
    }

    template <typename Calls>
    void expectError(Cause cause, const std::string& text, const Calls& calls) {
        try {
            calls();
            ADD_FAILURE() << "no error, instead of " << text;
        } catch (const ExchangeError& error) {
            EXPECT_EQ(error.cause(), cause) << error.what();
            EXPECT_EQ(error.what(), text);
        }
    }

    /** Returns the `count` requests that follow the first `opening` requests, which open the device. */
    std::vector<Bytes> requestsAfter(std::size_t opening, std::size_t count) {
        std::vector<Bytes> requests;
        const auto received = m_peer.requests(opening + count);
        for (std::size_t i = opening; i < received.size(); ++i) {
            requests.push_back(received[i].bytes);
        }
        m_peer.clearRequests();
        return requests;
    }

    milliseconds m_timeout = longTime;
    TestPeer m_peer;
};

/** Performs the operations of useByTheClient() with a device of the library. */
template <typename Device, typename T>
void useByTheLibrary(Device& device) {
    T value = 0;
    std::vector<T> values(3);
    unsigned long type = 0;
    device.read(0x10, &value);
    device.read(0x20, values.data(), 3, ByteOrder::Network);
    device.read(0x20, values.data(), 3, ByteOrder::Host);
    device.write(0x30, 0x5A);
    device.write(0x30, 0x5A, 0xF0);
    device.write(0x40, values.data(), 3, ByteOrder::Host);
    device.ioctl(0x4201, 7);
    device.getInterruptType(&type);
    device.enableInterrupt();
    device.disableInterrupt();
}

void useByTheClient(RemoteDevice& device) {
    device.read(0x10);
    device.read(0x20, 3, ByteOrder::Network);
    device.read(0x20, 3, ByteOrder::Host);
    device.write(0x30, 0x5A);
    device.write(0x30, 0x5A, 0xF0);
    const std::array<std::uint32_t, 3> values{1, 2, 3};
    device.write(0x40, values.data(), 3);
    device.ioctl(0x4201, 7);
    device.interruptType();
    device.enableInterrupt();
    device.disableInterrupt();
}

const std::vector<Reply>& answersInUse() {
    static const std::vector<Reply> answers{success({1}), success({1, 2, 3}), success({1, 2, 3}), success(), success(),
                                            success(),    success(),          success({4}),       success(), success()};
    return answers;
}

template <typename T>
class RemoteDevicesOfAnyWidth : public RemoteDevices {};

using Widths = testing::Types<std::uint8_t, std::uint16_t, std::uint32_t>;
TYPED_TEST_SUITE(RemoteDevicesOfAnyWidth, Widths, );

TYPED_TEST(RemoteDevicesOfAnyWidth, MakeTheRequestsOfTheLibrarysRemoteDevices) {
    const TraceRecorder silence{0};
    constexpr std::size_t openingByTheLibrary = 3;
    constexpr std::size_t openingByTheClient = 1;
    this->m_peer.script({success(), success(), success()});
    this->m_peer.script(answersInUse());
    Rynvel::Remote<TypeParam> library("remote", this->m_peer.address(), nullptr);
    useByTheLibrary<Rynvel::Remote<TypeParam>, TypeParam>(library);
    const auto expected = this->requestsAfter(openingByTheLibrary, answersInUse().size());
    this->m_peer.script({success()});
    this->m_peer.script(answersInUse());
    auto client = this->device(8 * sizeof(TypeParam));
    useByTheClient(client);
    EXPECT_EQ(this->requestsAfter(openingByTheClient, answersInUse().size()), expected);
}

TEST_F(RemoteDevices, ReturnTheValuesOfTheAnswers) {
    auto remote = deviceThatGets({success({0x12345678}), success({1, 2}), success({4}), success({5})});
    EXPECT_EQ(remote.read(4), 0x12345678U);
    EXPECT_EQ(remote.read(4, 2, ByteOrder::Host), (std::vector<std::uint32_t>{1, 2}));
    EXPECT_EQ(remote.interruptType(), 4U);
    EXPECT_EQ(remote.ioctl(1, 2), 5);
}

TEST_F(RemoteDevices, WaitForTheRestOfAnAnswerThatComesInPieces) {
    for (const std::size_t size : {1U, 4U, 8U, 519U}) {
        auto remote = deviceThatGets({split(responseOf({0xDEADBEEF}), size)});
        m_peer.clearRequests();
        std::thread peer([this] {
            m_peer.requests(1);
            m_peer.releaseNextPiece();
        });
        EXPECT_EQ(remote.read(4), 0xDEADBEEF);
        peer.join();
    }
}

TEST_F(RemoteDevices, WaitForTheRestOfAnInterruptThatComesInPieces) {
    auto remote = device();
    remote.arm();
    m_peer.send(1, {0, 0});
    std::thread peer([this] { m_peer.send(1, {1, 2, 0, 0, 0, 7}); });
    EXPECT_EQ(remote.receiveInterrupt(Deadline(longTime)), 258U);
    EXPECT_EQ(remote.receiveInterrupt(Deadline(longTime)), 7U);
    peer.join();
}

TEST_F(RemoteDevices, AreOpenedWithOneRequestAndArmedOnASeparateConnection) {
    auto remote = device();
    EXPECT_EQ(m_peer.requests(1).size(), 1U);
    remote.arm();
    const auto requests = m_peer.requests(3);
    const Bytes opening = requestBytes(RequestType::Open, "remote");
    EXPECT_EQ(requests[0].bytes, opening);
    EXPECT_EQ(requests[1].bytes, opening);
    EXPECT_EQ(requests[2].bytes, requestBytes(RequestType::WaitForInterrupt, "remote"));
    EXPECT_EQ(requests[0].connection, 0U);
    EXPECT_EQ(requests[1].connection, 1U);
    EXPECT_EQ(requests[2].connection, 1U);
}

TEST_F(RemoteDevices, MayBeWaitedForAgainWhenNoInterruptCameInTime) {
    auto remote = device();
    remote.arm();
    expectError(Cause::TimedOut, "no answer in time", [&] { remote.receiveInterrupt(Deadline(shortTime)); });
    m_peer.send(1, {0, 0, 0, 9});
    EXPECT_EQ(remote.receiveInterrupt(Deadline(longTime)), 9U);
}

TEST_F(RemoteDevices, RaiseSimulatedInterruptsWithAWord) {
    device().raiseInterrupt(42);
    EXPECT_EQ(m_peer.requests(2)[1].bytes, requestBytes(RequestType::Debug, "remote", valueWords({42})));
}

TEST_F(RemoteDevices, SendNoRequestUnderAMaskOfZero) {
    auto remote = device();
    remote.write(4, 0xFF, 0);
    remote.write(4, 1);
    EXPECT_EQ(m_peer.requests(2)[1].bytes,
              requestBytes(RequestType::Write32, "remote", {{addressAt, 4}, {valuesAt, 1}, {lengthAt, 1}}));
}

TEST_F(RemoteDevices, ReportWhatTheServerRefuses) {
    const auto refused = [this](const std::function<void(RemoteDevice&)>& call) {
        auto remote = deviceThatGets({refusal()});
        expectError(Cause::Refused, "the server refuses the request", [&] { call(remote); });
    };
    refused([](RemoteDevice& remote) { remote.read(4); });
    refused([](RemoteDevice& remote) { remote.read(4, 2, ByteOrder::Host); });
    refused([](RemoteDevice& remote) { remote.write(4, 1); });
    refused([](RemoteDevice& remote) { remote.write(4, 1, 1); });
    refused([](RemoteDevice& remote) { remote.ioctl(1, 1); });
    refused([](RemoteDevice& remote) { remote.enableInterrupt(); });
    refused([](RemoteDevice& remote) { remote.disableInterrupt(); });
    refused([](RemoteDevice& remote) { remote.raiseInterrupt(1); });
    EXPECT_EQ(deviceThatGets({refusal()}).interruptType(), std::nullopt);
    auto silent = deviceThatGets({success(), refusal()});
    expectError(Cause::Refused, "the server refuses the request", [&] { silent.arm(); });
}

TEST_F(RemoteDevices, AreUsableAfterARefusal) {
    auto remote = deviceThatGets({refusal(), success({3})});
    EXPECT_THROW(remote.read(4), ExchangeError);
    EXPECT_EQ(remote.read(4), 3U);
}

TEST_F(RemoteDevices, ReportThatTheServerDoesNotOpenThem) {
    m_peer.script({refusal()});
    expectError(Cause::NotServed, "the server refuses to open 'remote'", [&] { device(); });
    auto remote = deviceThatGets({refusal()});
    expectError(Cause::NotServed, "the server refuses to open 'remote'", [&] { remote.arm(); });
}

TEST_F(RemoteDevices, RefuseAnAnswerOfAnotherLength) {
    const auto malformed = [this](const Reply& reply, const std::string& text,
                                  const std::function<void(RemoteDevice&)>& call) {
        auto remote = deviceThatGets({reply});
        expectError(Cause::Malformed, text, [&] { call(remote); });
    };
    malformed(success(), "the server answers with 0 values instead of 1", [](RemoteDevice& remote) { remote.read(4); });
    malformed(success({1, 2}), "the server answers with 2 values instead of 3",
              [](RemoteDevice& remote) { remote.read(4, 3, ByteOrder::Host); });
    malformed(success({1, 2}), "the server answers with 2 values instead of 1",
              [](RemoteDevice& remote) { remote.read(4); });
    malformed(success(), "the server answers with 0 values instead of 1",
              [](RemoteDevice& remote) { remote.interruptType(); });
}

Bytes recordOf(std::uint32_t result, std::uint32_t length) {
    Bytes record(520);
    put(record, 0, result);
    put(record, 516, length);
    return record;
}

TEST_F(RemoteDevices, RefuseARecordThatIsNotAnAnswer) {
    const std::string neither = "not a register server: the result is neither 0 nor -1";
    const std::string tooMany = "not a register server: the response has more than 128 values";
    for (const auto& [result, length, text] :
         {std::tuple{0x48545450U, 0U, neither}, std::tuple{1U, 0U, neither}, std::tuple{0U, 129U, tooMany},
          std::tuple{0U, UINT32_MAX, tooMany}, std::tuple{UINT32_MAX, 129U, tooMany}}) {
        m_peer.script({Reply{{recordOf(result, length)}}});
        expectError(Cause::Malformed, text, [&] { device(); });
        auto remote = deviceThatGets({Reply{{recordOf(result, length)}}});
        expectError(Cause::Malformed, text, [&] { remote.write(4, 1); });
    }
    deviceThatGets({Reply{{recordOf(0, 128)}}}).write(4, 1);
}

TEST_F(RemoteDevices, RefuseAPeerThatSendsMoreThanItIsAskedFor) {
    const std::string text = "not a register server: the peer sends bytes that are not part of a response";
    auto tooLong = recordOf(0, 0);
    tooLong.push_back(0);
    m_peer.script({Reply{{tooLong}}});
    expectError(Cause::Malformed, text, [&] { device(); });
    auto remote = deviceThatGets({Reply{{tooLong}}});
    expectError(Cause::Malformed, text, [&] { remote.write(4, 1); });
    expectError(Cause::Unreachable, "an earlier exchange was not completed", [&] { remote.write(4, 1); });
    auto quiet = device();
    m_peer.send(2, {0});
    std::this_thread::sleep_for(shortTime);
    expectError(Cause::Malformed, text, [&] { quiet.write(4, 1); });
}

TEST_F(RemoteDevices, ReceiveInterruptsThatArriveWithTheAnswerToWait) {
    auto answer = recordOf(0, 0);
    answer.insert(answer.end(), {0, 0, 0, 9});
    auto remote = deviceThatGets({success(), Reply{{answer}}});
    remote.arm();
    EXPECT_EQ(remote.receiveInterrupt(Deadline(longTime)), 9U);
}

TEST_F(RemoteDevices, RefuseAValueThatIsWiderThanARegister) {
    m_peer.script({success(), success({0x100}), success(), success({0xFFFF}), success({0x10000})});
    auto narrow = device(8);
    expectError(Cause::Malformed, "the server answers with a value of more than 8 bits", [&] { narrow.read(4); });
    auto wide = device(16);
    EXPECT_EQ(wide.read(4), 0xFFFFU);
    expectError(Cause::Malformed, "the server answers with a value of more than 16 bits", [&] { wide.read(4); });
}

TEST_F(RemoteDevices, GiveUpOnASilentServerInTime) {
    m_timeout = shortTime;
    m_peer.script({silence()});
    expectError(Cause::TimedOut, "no answer in time", [&] { device(); });
    m_timeout = longTime;
    auto remote = device();
    m_timeout = shortTime;
    m_peer.script({truncated(responseOf({1}), 519)});
    expectError(Cause::TimedOut, "no answer in time", [&] { remote.read(4); });
    expectError(Cause::Unreachable, "an earlier exchange was not completed", [&] { remote.read(4); });
}

TEST_F(RemoteDevices, GiveUpOnAnIncompleteInterrupt) {
    auto remote = device();
    pollfd beginning{remote.arm(), POLLIN, 0};
    m_peer.send(1, {0, 0, 0});
    ASSERT_EQ(poll(&beginning, 1, -1), 1);
    expectError(Cause::TimedOut, "no answer in time", [&] { remote.receiveInterrupt(Deadline(shortTime)); });
    expectError(Cause::Unreachable, "an earlier exchange was not completed",
                [&] { remote.receiveInterrupt(Deadline(longTime)); });
}

TEST_F(RemoteDevices, ReceiveAnInterruptWhenItsLastByteHasArrived) {
    auto remote = device();
    pollfd arrival{remote.arm(), POLLIN, 0};
    EXPECT_EQ(remote.takeInterrupt(), std::nullopt);
    m_peer.send(1, {0, 0, 1});
    ASSERT_EQ(poll(&arrival, 1, -1), 1);
    EXPECT_EQ(remote.takeInterrupt(), std::nullopt);
    EXPECT_EQ(remote.takeInterrupt(), std::nullopt);
    m_peer.send(1, {2, 0, 0, 0, 9});
    ASSERT_EQ(poll(&arrival, 1, -1), 1);
    EXPECT_EQ(remote.takeInterrupt(), 258U);
    EXPECT_EQ(remote.takeInterrupt(), 9U);
    EXPECT_EQ(remote.takeInterrupt(), std::nullopt);
    m_peer.close(1);
    ASSERT_EQ(poll(&arrival, 1, -1), 1);
    expectError(Cause::Unreachable, "the connection was closed", [&] { remote.takeInterrupt(); });
}

TEST_F(RemoteDevices, ReportThatTheConnectionHasEnded) {
    m_peer.script({closing()});
    expectError(Cause::Unreachable, "the connection was closed", [&] { device(); });
    auto remote = deviceThatGets({closing()});
    expectError(Cause::Unreachable, "the connection was closed", [&] { remote.read(4); });
    auto armed = device();
    armed.arm();
    m_peer.close(3);
    expectError(Cause::Unreachable, "the connection was closed", [&] { armed.receiveInterrupt(Deadline(longTime)); });
}

TEST(RecordConnections, ReportWhyTheyCannotConnect) {
    const TestPeer nobody(TestPeer::Start::Later);
    const auto problemWith = [](const Common::ServerAddress& server) {
        try {
            RecordConnection(server, Deadline(longTime));
        } catch (const ExchangeError& error) {
            EXPECT_EQ(error.cause(), Cause::Unreachable);
            return std::string(error.what());
        }
        return std::string();
    };
    EXPECT_EQ(problemWith({"127.0.0.1", nobody.port()}), "Connection refused");
    EXPECT_NE(problemWith({"no-such-host.invalid", 8888}), "");
    EXPECT_EQ(problemWith({"", 0, "/nonexistent/socket"}), "No such file or directory");
    EXPECT_EQ(problemWith({"", 0, "/dev/null"}), "Connection refused");
    EXPECT_EQ(problemWith({"", 0, '/' + std::string(107, 'a')}), "File name too long");
    const NoMoreDescriptors noMoreDescriptors;
    EXPECT_EQ(problemWith({"127.0.0.1", nobody.port()}), "Too many open files");
}

TEST(RecordConnections, ReportThatTheirServerHasResetThem) {
    const LoopbackListener listener;
    listener.listen();
    RecordConnection connection({"127.0.0.1", listener.port()}, Deadline(longTime));
    const int server = listener.accept();
    constexpr linger reset{1, 0};
    EXPECT_EQ(::setsockopt(server, SOL_SOCKET, SO_LINGER, &reset, sizeof(reset)), 0);
    ::close(server);
    try {
        connection.open("remote", Deadline(longTime));
        ADD_FAILURE() << "the device was opened";
    } catch (const ExchangeError& error) {
        EXPECT_EQ(error.cause(), Cause::Unreachable);
        EXPECT_STREQ(error.what(), "the connection was closed");
    }
}

/** The exception of a callback. */
struct Canceled {};

/** Returns a callback that throws an exception at its third call. */
Common::WaitCallback thirdTime() {
    return [calls = 0]() mutable {
        if (++calls == 3) {
            throw Canceled();
        }
    };
}

TEST(RecordConnections, CallTheirCallbackWhileTheyWaitForAnAnswer) {
    TestPeer peer;
    peer.script({silence()});
    RecordConnection connection({"127.0.0.1", peer.port()}, Deadline(longTime), thirdTime());
    EXPECT_THROW(connection.open("remote", Deadline(longTime)), Canceled);
}

TEST(RecordConnections, CallTheirCallbackWhileTheQueueOfTheirServerIsFull) {
    const TemporaryWorkingFolder folder;
    const LocalSocket server(SOCK_STREAM, "socket");
    ASSERT_EQ(::listen(server.descriptor(), 0), 0);
    const int first = server.connect(SOCK_STREAM);
    EXPECT_THROW(RecordConnection({"", 0, "/proc/self/cwd/socket"}, Deadline(longTime), thirdTime()), Canceled);
    ::close(first);
}

/** A listening socket whose queue of connections is full. The system does not answer further connections. */
class FullListener {
public:
    FullListener() {
        m_listener.listen(0);
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = htons(port());
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        for (int& client : m_clients) {
            client = ::socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
            ::connect(client, reinterpret_cast<const sockaddr*>(&address), sizeof(address));
        }
    }
    FullListener(const FullListener&) = delete;
    FullListener& operator=(const FullListener&) = delete;
    ~FullListener() {
        for (const int client : m_clients) {
            ::close(client);
        }
    }

    std::uint16_t port() const { return m_listener.port(); }

private:
    const LoopbackListener m_listener;
    std::array<int, 4> m_clients{};
};

TEST(RecordConnections, TimeOutWhenNoServerAcceptsThem) {
    const FullListener listener;
    const auto begin = std::chrono::steady_clock::now();
    try {
        RecordConnection({"127.0.0.1", listener.port()}, Deadline(shortTime));
        ADD_FAILURE() << "the connection was established";
    } catch (const ExchangeError& error) {
        EXPECT_EQ(error.cause(), Cause::TimedOut) << error.what();
    }
    // Without the time-out, the system would retry for minutes.
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(30));
}

TEST(RecordConnections, ReachAServerByItsName) {
    TestPeer peer;
    RecordConnection connection({"localhost", peer.port()}, Deadline(longTime));
    connection.open("remote", Deadline(longTime));
    EXPECT_EQ(peer.requests(1)[0].bytes, requestBytes(RequestType::Open, "remote"));
}

TEST(RecordConnections, ShowTheirRecordsInATrace) {
    const TraceRecorder recorder(7, "Rynvel.Client");
    TestPeer peer;
    RecordConnection connection({"127.0.0.1", peer.port()}, Deadline());
    connection.open("remote", Deadline());
    const auto traces = recorder.traces();
    ASSERT_EQ(traces.size(), 2U);
    EXPECT_EQ(traces[0].text.find("Request: [ type: Open"), 0U);
    EXPECT_EQ(traces[1].text.find("Response: [ result: Success"), 0U);
}

TEST(Deadlines, ExpireWhenTheirTimeHasPassed) {
    EXPECT_EQ(Deadline().pollTimeout(), -1);
    EXPECT_FALSE(Deadline().hasPassed());
    EXPECT_TRUE(Deadline(milliseconds(0)).hasPassed());
    EXPECT_FALSE(Deadline(longTime).hasPassed());
    EXPECT_GT(Deadline(longTime).pollTimeout(), 0);
}

TEST(Deadlines, AreOrdered) {
    const Deadline soon(shortTime);
    const Deadline late(longTime);
    EXPECT_EQ(Deadline::earlier(soon, late).timePoint(), soon.timePoint());
    EXPECT_EQ(Deadline::earlier(late, soon).timePoint(), soon.timePoint());
    EXPECT_EQ(Deadline::earlier(Deadline(), late).timePoint(), late.timePoint());
    EXPECT_EQ(Deadline::earlier(late, Deadline()).timePoint(), late.timePoint());
    EXPECT_EQ(Deadline::earlier(Deadline(), Deadline()).timePoint(), std::nullopt);
}

} // namespace
} // namespace RynvelTest
