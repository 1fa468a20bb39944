// SPDX-License-Identifier: MIT
#include "MetricsServer.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <deque>
#include <optional>
#include <stdexcept>
#include <system_error>
#include <thread>

#include <poll.h>
#include <sys/socket.h>

#include <gtest/gtest.h>

#include "BecomesTrue.h"
#include "HttpRequest.h"
#include "RecordClient.h"
#include "WakeUp.h"

namespace RynvelTest {
namespace {

using asio::ip::make_address_v4;
using asio::ip::make_network_v4;
using asio::ip::tcp;
using Rynveld::MetricsServer;

/** A server whose metrics are the number of requests so far. */
class MetricsServerTest : public testing::Test {
protected:
    MetricsServerTest() { Rynveld::installWakeUpHandler(); }

    static MetricsServer::Networks everyone() { return {}; }

    std::uint16_t start(MetricsServer::Networks allowed = everyone()) {
        m_server.emplace(tcp::endpoint(make_address_v4("127.0.0.1"), 0), std::move(allowed), [this] { return text(); });
        m_server->start();
        const std::string address = m_server->address();
        return static_cast<std::uint16_t>(std::stoul(address.substr(address.rfind(':') + 1)));
    }

    virtual std::string text() { return "requests " + std::to_string(++m_requests) + '\n'; }

    std::atomic<unsigned int> m_requests{0};
    std::optional<MetricsServer> m_server;
};

TEST_F(MetricsServerTest, AnswersARequestAndEndsTheConnection) {
    const auto port = start();
    EXPECT_EQ(answerTo(port, metricsRequest),
              "HTTP/1.1 200 OK\r\nContent-Type: text/plain; version=0.0.4; charset=utf-8\r\nContent-Length: 11\r\n"
              "Connection: close\r\n\r\nrequests 1\n");
    EXPECT_EQ(metricsOf(port), "requests 2\n");
}

TEST_F(MetricsServerTest, AnswersARequestInPieces) {
    const RecordClient client(start());
    const std::string request = "GET /metrics?all=1 HTTP/1.0\r\nAccept: */*\r\n\r\n";
    for (const char character : request) {
        EXPECT_TRUE(client.send(&character, 1));
    }
    EXPECT_NE(answerOn(client).find("requests 1\n"), std::string::npos);
}

TEST_F(MetricsServerTest, AnswersHeadWithoutTheText) {
    const std::string answer = answerTo(start(), "HEAD /metrics HTTP/1.1\r\n\r\n");
    EXPECT_NE(answer.find("Content-Length: 11\r\n"), std::string::npos);
    EXPECT_EQ(answer.find("requests"), std::string::npos);
}

TEST_F(MetricsServerTest, RefusesEverythingElse) {
    const auto port = start();
    EXPECT_EQ(statusOf(port, "GET / HTTP/1.1\r\n\r\n"), "HTTP/1.1 404 Not Found");
    EXPECT_EQ(statusOf(port, "GET /metricsx HTTP/1.1\r\n\r\n"), "HTTP/1.1 404 Not Found");
    EXPECT_EQ(statusOf(port, "POST /metrics HTTP/1.1\r\n\r\n"), "HTTP/1.1 405 Method Not Allowed");
    EXPECT_NE(answerTo(port, "PUT /metrics HTTP/1.1\r\n\r\n").find("\r\nAllow: GET, HEAD\r\n"), std::string::npos);
    for (const std::string line :
         {"", "GET", "GET /metrics", "GET /metrics HTTP/2", "GET /metrics HTTP/1.1 x", "\x16\x03\x01"}) {
        EXPECT_EQ(statusOf(port, line + "\r\n\r\n"), "HTTP/1.1 400 Bad Request") << line;
    }
    EXPECT_EQ(m_requests, 0U);
}

TEST_F(MetricsServerTest, RefusesARequestThatDoesNotEnd) {
    const RecordClient client(start());
    const std::string piece(1000, 'a');
    for (unsigned int i = 0; i < 10; ++i) {
        client.send(piece.data(), piece.size());
    }
    // The answer may be lost if the connection ends before the server has read the whole request.
    const std::string answer = answerOn(client);
    EXPECT_TRUE(answer.empty() || answer.rfind("HTTP/1.1 431 ", 0) == 0) << answer;
    EXPECT_EQ(m_requests, 0U);
}

TEST_F(MetricsServerTest, RefusesOtherNetworks) {
    const auto port = start({make_network_v4("10.0.0.0/8")});
    EXPECT_EQ(answerTo(port, metricsRequest), "");
    m_server->allow({make_network_v4("127.0.0.0/8")});
    EXPECT_TRUE(becomesTrue([&] { return metricsOf(port) == "requests 1\n"; }));
}

TEST_F(MetricsServerTest, AnswersWhileSilentClientsAreConnected) {
    const auto port = start();
    std::deque<RecordClient> silent;
    for (std::size_t i = 0; i < 5 * MetricsServer::maxConnections; ++i) {
        silent.emplace_back(port);
    }
    EXPECT_EQ(metricsOf(port), "requests 1\n");
    // The server has ended the oldest connections to make room.
    EXPECT_EQ(answerOn(silent.front()), "");
}

TEST_F(MetricsServerTest, AnswersAfterManyConnections) {
    const auto port = start();
    for (unsigned int i = 0; i < 1000; ++i) {
        RecordClient client(port);
        client.send(metricsRequest, i % 30);
        if (i % 2 == 0) {
            client.reset();
        }
    }
    EXPECT_EQ(metricsOf(port), "requests 1\n");
}

TEST_F(MetricsServerTest, ReportsTheAddressOnWhichItCannotListen) {
    const auto port = start();
    try {
        MetricsServer(tcp::endpoint(make_address_v4("127.0.0.1"), port), everyone(), [] { return ""; });
        ADD_FAILURE() << "two servers listen on one port";
    } catch (const std::system_error& error) {
        EXPECT_EQ(error.what(), "127.0.0.1:" + std::to_string(port) + ": cannot listen: Address already in use");
    }
}

TEST_F(MetricsServerTest, CanBeDestroyedWithoutBeingStarted) {
    const MetricsServer server(tcp::endpoint(make_address_v4("127.0.0.1"), 0), everyone(), [] { return ""; });
}

class LargeMetrics : public MetricsServerTest {
protected:
    std::string text() override { return std::string(std::size_t{64} * 1024 * 1024, 'x'); }
};

TEST_F(LargeMetrics, DoNotBlockTheServerIfTheClientReadsNothing) {
    const auto port = start();
    const RecordClient slow(port);
    EXPECT_TRUE(slow.send(metricsRequest, std::string(metricsRequest).size()));
    EXPECT_EQ(statusOf(port, "GET / HTTP/1.1\r\n\r\n"), "HTTP/1.1 404 Not Found");
}

class FailingMetrics : public MetricsServerTest {
protected:
    std::string text() override { throw std::runtime_error("no memory"); }
};

TEST_F(FailingMetrics, AreAnsweredWithAnError) {
    const auto port = start();
    EXPECT_EQ(statusOf(port, metricsRequest), "HTTP/1.1 503 Service Unavailable");
    EXPECT_EQ(statusOf(port, metricsRequest), "HTTP/1.1 503 Service Unavailable");
}

class BlockedMetrics : public MetricsServerTest {
protected:
    std::string text() override {
        m_requests = 1;
        // A signal ends this wait, as it ends a blocked operation of a device.
        ::poll(nullptr, 0, -1);
        return "";
    }
};

TEST_F(BlockedMetrics, AreInterruptedWhenTheServerEnds) {
    const RecordClient client(start());
    EXPECT_TRUE(client.send(metricsRequest, std::string(metricsRequest).size()));
    EXPECT_TRUE(becomesTrue([this] { return m_requests == 1U; }));
    m_server.reset();
}

} // namespace
} // namespace RynvelTest
