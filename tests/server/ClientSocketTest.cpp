#include "ClientSocket.h"

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <pthread.h>

#include <csignal>
#include <cstring>
#include <future>

#include <gtest/gtest.h>

#include "LoopbackListener.h"
#include "RecordClient.h"
#include "SocketPair.h"
#include "WakeUp.h"

namespace RynvelTest {
namespace {

using Rynvel::Request;
using Rynvel::RequestData;
using Rynvel::Response;
using Rynveld::ClientSocket;
using namespace std::chrono_literals;

class ClientSocketTest : public testing::Test {
protected:
    void sendPiece(std::size_t from, std::size_t size) const {
        EXPECT_TRUE(m_client.send(static_cast<const char*>(m_request.toBuffer()) + from, size));
    }

    void expectTheRequest(const Request& received) const {
        EXPECT_EQ(std::memcmp(received.toBuffer(), m_request.toBuffer(), m_request.getSize()), 0);
    }

    const Request m_request = requestOf(RequestData::Type::Write32, "uio.32", 5, {1, 2, 3});
    SocketPair m_pair;
    ClientSocket m_socket{m_pair.releaseServer()};
    RecordClient m_client = RecordClient::on(m_pair.releaseClient());
};

class ClientSocketInPieces : public ClientSocketTest, public testing::WithParamInterface<std::size_t> {};

INSTANTIATE_TEST_SUITE_P(Sizes, ClientSocketInPieces, testing::Values(1U, 4U, 132U, 329U, 659U, 660U));

TEST_P(ClientSocketInPieces, ReceivesARecordWhole) {
    Request received;
    auto whole = std::async(std::launch::async, [&] { return m_socket.receive(received); });
    for (std::size_t from = 0; from < m_request.getSize(); from += GetParam()) {
        const std::size_t size = std::min<std::size_t>(GetParam(), m_request.getSize() - from);
        sendPiece(from, size);
        waitUntilTaken(m_client.socket());
    }
    EXPECT_TRUE(whole.get());
    expectTheRequest(received);
}

TEST_F(ClientSocketTest, TakesNoMoreThanTheRecord) {
    for (unsigned int i = 0; i < 2; ++i) {
        EXPECT_TRUE(m_client.send(m_request));
    }
    for (unsigned int i = 0; i < 2; ++i) {
        Request received;
        EXPECT_TRUE(m_socket.receive(received));
        expectTheRequest(received);
    }
}

TEST_F(ClientSocketTest, FailsToReceiveWhenTheClientGoesInTheMiddle) {
    EXPECT_TRUE(m_client.send(m_request.toBuffer(), 659));
    ::shutdown(m_client.socket(), SHUT_WR);
    Request received;
    EXPECT_FALSE(m_socket.receive(received));
}

TEST_F(ClientSocketTest, ReceivesThroughSignals) {
    Rynveld::installWakeUpHandler();
    Request received;
    std::promise<pthread_t> thread;
    auto whole = std::async(std::launch::async, [&] {
        thread.set_value(pthread_self());
        return m_socket.receive(received);
    });
    const pthread_t receiver = thread.get_future().get();
    for (unsigned int i = 0; i < 600; ++i) {
        sendPiece(i, 1);
        EXPECT_EQ(pthread_kill(receiver, SIGUSR1), 0);
    }
    sendPiece(600, 60);
    EXPECT_TRUE(whole.get());
    expectTheRequest(received);
}

TEST_F(ClientSocketTest, GivesUpOnAClientThatIsIdle) {
    m_socket.setIdleTimeout(1ms);
    Request received;
    EXPECT_FALSE(m_socket.receive(received));
}

TEST_F(ClientSocketTest, GivesUpOnAClientThatIsIdleInTheMiddle) {
    m_socket.setIdleTimeout(1ms);
    EXPECT_TRUE(m_client.send(m_request.toBuffer(), 100));
    Request received;
    EXPECT_FALSE(m_socket.receive(received));
}

TEST_F(ClientSocketTest, GivesUpOnARecordThatComesInTimeButNeverEnds) {
    m_socket.setIdleTimeout(100ms);
    Request received;
    auto whole = std::async(std::launch::async, [&] { return m_socket.receive(received); });
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

TEST_F(ClientSocketTest, IsToldTheIdleTimeoutInFull) {
    m_socket.setIdleTimeout(90061001ms);
    timeval value{};
    socklen_t size = sizeof(value);
    ASSERT_EQ(::getsockopt(m_socket.descriptor(), SOL_SOCKET, SO_RCVTIMEO, &value, &size), 0);
    EXPECT_EQ(value.tv_sec, 90061);
    EXPECT_GE(value.tv_usec, 1000);
    m_socket.setIdleTimeout(0ms);
    ASSERT_EQ(::getsockopt(m_socket.descriptor(), SOL_SOCKET, SO_RCVTIMEO, &value, &size), 0);
    EXPECT_EQ(value.tv_sec, 0);
    EXPECT_EQ(value.tv_usec, 0);
}

TEST_F(ClientSocketTest, SendsARecord) {
    EXPECT_TRUE(m_socket.send(m_request));
    Request received;
    EXPECT_TRUE(m_client.receive(received));
    expectTheRequest(received);
}

TEST_F(ClientSocketTest, FailsToSendToAClientThatIsGone) {
    m_client.reset();
    EXPECT_FALSE(m_socket.send(m_request));
}

TEST_F(ClientSocketTest, SendsInHalves) {
    auto sent = std::async(std::launch::async, [&] { return m_socket.sendInHalves(m_request, 1ms); });
    Request received;
    EXPECT_TRUE(m_client.receive(received));
    EXPECT_TRUE(sent.get());
    expectTheRequest(received);
}

TEST_F(ClientSocketTest, EndsWhatBlocks) {
    auto received = std::async(std::launch::async, [&] {
        Request request;
        return m_socket.receive(request);
    });
    auto paused = std::async(std::launch::async, [&] { return m_socket.pause(24h); });
    m_socket.shutDown();
    EXPECT_FALSE(received.get());
    EXPECT_FALSE(paused.get());
}

TEST(ClientSocket, IsClosedAtItsEnd) {
    SocketPair pair;
    { const ClientSocket socket(pair.releaseServer()); }
    EXPECT_TRUE(RecordClient::on(pair.releaseClient()).isEnded());
}

TEST(ClientSocket, ProbesDeadClientsAndHoldsNoAnswerBack) {
    const ClientSocket socket(::socket(AF_INET, SOCK_STREAM, 0));
    for (const auto& [level, option] :
         {std::pair{SOL_SOCKET, SO_KEEPALIVE}, std::pair<int, int>{IPPROTO_TCP, TCP_NODELAY}}) {
        int value = 0;
        socklen_t size = sizeof(value);
        EXPECT_EQ(::getsockopt(socket.descriptor(), level, option, &value, &size), 0);
        EXPECT_NE(value, 0);
    }
}

TEST(ClientSocket, FindsOutWithinAMinuteThatAClientHasGone) {
    const ClientSocket socket(::socket(AF_INET, SOCK_STREAM, 0));
    const auto option = [&](int name) {
        int value = 0;
        socklen_t size = sizeof(value);
        EXPECT_EQ(::getsockopt(socket.descriptor(), IPPROTO_TCP, name, &value, &size), 0);
        return value;
    };
    EXPECT_LE(option(TCP_KEEPIDLE) + option(TCP_KEEPCNT) * option(TCP_KEEPINTVL), 60);
    EXPECT_GT(option(TCP_USER_TIMEOUT), 0);
    EXPECT_LE(option(TCP_USER_TIMEOUT), 60000);
}

TEST(ClientSocket, HoldsLittleOfTheKernelsMemory) {
    constexpr int clients = 128;
    constexpr int most = 64 * 1024 * 1024;
    const LoopbackListener listener;
    listener.listen();
    const RecordClient client(listener.port());
    const ClientSocket socket(listener.accept());
    int buffers = 0;
    for (const int option : {SO_RCVBUF, SO_SNDBUF}) {
        int value = 0;
        socklen_t size = sizeof(value);
        EXPECT_EQ(::getsockopt(socket.descriptor(), SOL_SOCKET, option, &value, &size), 0);
        buffers += value;
    }
    EXPECT_LT(buffers * clients, most);
}

} // namespace
} // namespace RynvelTest
