/* SPDX-License-Identifier: MIT */
#ifndef RYNVEL_TESTS_TESTPEER_H
#define RYNVEL_TESTS_TESTPEER_H

#include <rynvel.hpp>

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "LoopbackListener.h"

namespace RynvelTest {

/** The reaction of a peer to one request. */
struct Reply {
    /** The pieces of the answer. The peer sends the first piece at once, and one more for each releaseNextPiece(). */
    std::vector<std::vector<std::uint8_t>> pieces;
    /** Whether the peer closes the connection after the last piece. */
    bool closes = false;
};

Rynvel::Response responseOf(const std::vector<std::uint32_t>& values,
                            Rynvel::ResponseData::Result result = Rynvel::ResponseData::Result::Success);

Reply answer(const Rynvel::Response& response);
Reply success(const std::vector<std::uint32_t>& values = {});
Reply refusal(const std::vector<std::uint32_t>& values = {});
/** Returns a reply that sends the whole answer after releaseNextPiece(). */
Reply delayed(const Rynvel::Response& response);
/** Returns a reply that sends the first `size` bytes of the answer at once, and the rest after releaseNextPiece(). */
Reply split(const Rynvel::Response& response, std::size_t size);
/** Returns a reply that sends only the first `size` bytes of the answer. */
Reply truncated(const Rynvel::Response& response, std::size_t size);
Reply silence();
Reply closing();

/** Returns the request that consists of these bytes. */
Rynvel::Request asRequest(const std::vector<std::uint8_t>& bytes);

/**
 * A register server for clients on this machine, on a port that the system chooses. The server records every request,
 * and sends the replies that the test has scripted. When no scripted reply is left, the service of the server provides
 * the reply. The default service replies with a success without values.
 */
class TestPeer {
public:
    struct ReceivedRequest {
        /** The number of the connection, counted from 0 in the order in which the server accepts connections. */
        std::size_t connection;
        std::vector<std::uint8_t> bytes;
    };

    enum class Start { AtOnce, Later };

    /** The function that replies without a script. Each connection calls the function in its own thread. */
    using Service = std::function<Reply(std::size_t connection, const Rynvel::Request& request)>;

    /** With Start::Later, the peer refuses connections until start(). */
    explicit TestPeer(Start start = Start::AtOnce);
    explicit TestPeer(Service service);
    TestPeer(const TestPeer&) = delete;
    TestPeer& operator=(const TestPeer&) = delete;
    ~TestPeer();

    void start();

    std::uint16_t port() const { return m_listener.port(); }
    /** Returns the address of the peer in the form that a remote device needs, HOST::PORT. */
    std::string address() const { return "127.0.0.1::" + std::to_string(port()); }

    /** Appends replies to the next requests on any connection. */
    void script(const std::vector<Reply>& replies);

    /** Makes the peer send the next piece of an answer. */
    void releaseNextPiece();

    /** Waits for `count` requests, and returns all requests so far. The test fails after 30 seconds without them. */
    std::vector<ReceivedRequest> requests(std::size_t count);
    void clearRequests();

    void send(std::size_t connection, const std::vector<std::uint8_t>& bytes);
    void close(std::size_t connection);

private:
    TestPeer(Start start, Service service);
    void accept();
    void serve(std::size_t connection, int socket);
    Reply nextReply(std::size_t connection, const std::vector<std::uint8_t>& request);
    std::optional<Reply> scriptedReply(std::size_t connection, const std::vector<std::uint8_t>& request);
    void perform(const Reply& reply, int socket);
    void waitToLetGo();
    int socketOf(std::size_t connection);

    const Service m_service;
    LoopbackListener m_listener;
    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::deque<Reply> m_replies;
    std::vector<ReceivedRequest> m_requests;
    std::vector<int> m_sockets;
    std::vector<std::thread> m_servers;
    unsigned int m_releaseNextPiece = 0;
    bool m_ending = false;
    std::thread m_acceptor;
};

} // namespace RynvelTest

#endif
