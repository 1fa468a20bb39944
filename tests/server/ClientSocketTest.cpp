// SPDX-License-Identifier: MIT
#include "ClientSocket.h"

#include <csignal>
#include <future>

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <pthread.h>

#include <gtest/gtest.h>

#include "LoopbackListener.h"
#include "MessageBytes.h"
#include "RecordClient.h"
#include "SocketPair.h"
#include "WakeUp.h"

namespace RynvelTest {
namespace {

using Rynveld::ClientSocket;
using namespace std::chrono_literals;

template <typename Value = int>
Value optionOf(const ClientSocket& socket, int level, int option) {
    Value value{};
    socklen_t size = sizeof(value);
    EXPECT_EQ(::getsockopt(socket.descriptor(), level, option, &value, &size), 0);
    return value;
}

class ClientSocketTest : public testing::Test {
protected:
    void sendPiece(std::size_t from, std::size_t size) const {
        EXPECT_TRUE(m_client.send(static_cast<const char*>(m_request.toBuffer()) + from, size));
    }
    bool receives() { return m_socket.receive(m_received); }
    std::future<bool> startToReceive() {
        return std::async(std::launch::async, [this] { return receives(); });
    }
    bool hasReceivedTheRequest() const { return bytesOf(m_received) == bytesOf(m_request); }

    const Request m_request = writeOf("uio.32", 5, {1, 2, 3});
    Request m_received;
    SocketPair m_pair;
    ClientSocket m_socket{m_pair.releaseServer()};
    RecordClient m_client = RecordClient::on(m_pair.releaseClient());
};

class ClientSocketInPieces : public ClientSocketTest, public testing::WithParamInterface<std::size_t> {};

INSTANTIATE_TEST_SUITE_P(Sizes, ClientSocketInPieces, testing::Values(1U, 4U, 132U, 329U, 659U, 660U));

TEST_P(ClientSocketInPieces, ReceivesAWholeRecord) {
    auto whole = startToReceive();
    for (std::size_t from = 0; from < m_request.getSize(); from += GetParam()) {
        sendPiece(from, std::min<std::size_t>(GetParam(), m_request.getSize() - from));
        waitUntilTaken(m_client.socket());
    }
    EXPECT_TRUE(whole.get());
    EXPECT_TRUE(hasReceivedTheRequest());
}

TEST_F(ClientSocketTest, TakesNoMoreThanTheRecord) {
    const Request other = readOf("uio.32", 7);
    EXPECT_TRUE(m_client.send(other));
    EXPECT_TRUE(m_client.send(m_request));
    EXPECT_TRUE(receives());
    EXPECT_EQ(bytesOf(m_received), bytesOf(other));
    EXPECT_TRUE(receives());
    EXPECT_TRUE(hasReceivedTheRequest());
}

TEST_F(ClientSocketTest, FailsToReceiveWhenTheClientDisconnectsInTheMiddle) {
    sendPiece(0, 659);
    ::shutdown(m_client.socket(), SHUT_WR);
    EXPECT_FALSE(receives());
}

TEST_F(ClientSocketTest, ReceivesThroughSignals) {
    Rynveld::installWakeUpHandler();
    std::promise<pthread_t> thread;
    auto whole = std::async(std::launch::async, [&] {
        thread.set_value(pthread_self());
        return receives();
    });
    const pthread_t receiver = thread.get_future().get();
    for (unsigned int i = 0; i < 600; ++i) {
        sendPiece(i, 1);
        EXPECT_EQ(pthread_kill(receiver, SIGUSR1), 0);
    }
    sendPiece(600, 60);
    EXPECT_TRUE(whole.get());
    EXPECT_TRUE(hasReceivedTheRequest());
}

TEST_F(ClientSocketTest, GivesUpOnAClientThatIsIdleAtTheBeginningOrInTheMiddle) {
    m_socket.setIdleTimeout(1ms);
    EXPECT_FALSE(receives());
    sendPiece(0, 100);
    EXPECT_FALSE(receives());
}

TEST_F(ClientSocketTest, GivesUpOnARecordThatComesInTimeButNeverEnds) {
    m_socket.setIdleTimeout(100ms);
    auto whole = startToReceive();
    for (std::size_t from = 0; from < m_request.getSize() && whole.wait_for(1ms) != std::future_status::ready; ++from) {
        sendPiece(from, 1);
    }
    EXPECT_FALSE(whole.get());
}

TEST_F(ClientSocketTest, GivesUpOnAClientThatDoesNotReadItsAnswers) {
    m_socket.setIdleTimeout(1ms);
    const Response response;
    unsigned int sent = 0;
    while (m_socket.send(response)) {
        ++sent;
    }
    EXPECT_GT(sent, 0U);
}

TEST_F(ClientSocketTest, SetsTheIdleTimeoutWithMilliseconds) {
    m_socket.setIdleTimeout(90061001ms);
    const auto timeout = optionOf<timeval>(m_socket, SOL_SOCKET, SO_RCVTIMEO);
    EXPECT_EQ(timeout.tv_sec, 90061);
    EXPECT_GE(timeout.tv_usec, 1000);
    m_socket.setIdleTimeout(0ms);
    const auto none = optionOf<timeval>(m_socket, SOL_SOCKET, SO_RCVTIMEO);
    EXPECT_EQ(none.tv_sec, 0);
    EXPECT_EQ(none.tv_usec, 0);
}

TEST_F(ClientSocketTest, SendsARecord) {
    EXPECT_TRUE(m_socket.send(m_request));
    EXPECT_TRUE(m_client.receive(m_received));
    EXPECT_TRUE(hasReceivedTheRequest());
}

TEST_F(ClientSocketTest, FailsToSendToAClientThatHasDisconnected) {
    m_client.reset();
    EXPECT_FALSE(m_socket.send(m_request));
}

TEST_F(ClientSocketTest, SendsInHalves) {
    auto sent = std::async(std::launch::async, [&] { return m_socket.sendInHalves(m_request, 1ms); });
    EXPECT_TRUE(m_client.receive(m_received));
    EXPECT_TRUE(sent.get());
    EXPECT_TRUE(hasReceivedTheRequest());
}

TEST_F(ClientSocketTest, EndsBlockedCalls) {
    auto received = startToReceive();
    auto paused = std::async(std::launch::async, [&] { return m_socket.pause(24h); });
    m_socket.shutDown();
    EXPECT_FALSE(received.get());
    EXPECT_FALSE(paused.get());
}

TEST(ClientSocket, IsClosedByTheDestructor) {
    SocketPair pair;
    { const ClientSocket socket(pair.releaseServer()); }
    EXPECT_TRUE(RecordClient::on(pair.releaseClient()).isEnded());
}

TEST(ClientSocket, ProbesDeadClientsAndDoesNotDelayAnswers) {
    const ClientSocket socket(::socket(AF_INET, SOCK_STREAM, 0));
    EXPECT_NE(optionOf(socket, SOL_SOCKET, SO_KEEPALIVE), 0);
    EXPECT_NE(optionOf(socket, IPPROTO_TCP, TCP_NODELAY), 0);
}

TEST(ClientSocket, NoticesADeadClientWithinAMinute) {
    const ClientSocket socket(::socket(AF_INET, SOCK_STREAM, 0));
    const auto option = [&](int name) { return optionOf(socket, IPPROTO_TCP, name); };
    EXPECT_LE(option(TCP_KEEPIDLE) + option(TCP_KEEPCNT) * option(TCP_KEEPINTVL), 60);
    EXPECT_GT(option(TCP_USER_TIMEOUT), 0);
    EXPECT_LE(option(TCP_USER_TIMEOUT), 60000);
}

TEST(ClientSocket, UsesLittleKernelMemory) {
    constexpr int clients = 128;
    constexpr int most = 64 * 1024 * 1024;
    const LoopbackListener listener;
    listener.listen();
    const RecordClient client(listener.port());
    const ClientSocket socket(listener.accept());
    const int buffers = optionOf(socket, SOL_SOCKET, SO_RCVBUF) + optionOf(socket, SOL_SOCKET, SO_SNDBUF);
    EXPECT_LT(buffers * clients, most);
}

} // namespace
} // namespace RynvelTest
