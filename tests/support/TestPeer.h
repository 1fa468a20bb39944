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
    /** The pieces to send: the first one at once, each further one when the test releases it. */
    std::vector<std::vector<std::uint8_t>> pieces;
    /** Whether the peer then closes the connection. */
    bool closes = false;
};

Rynvel::Response responseOf(const std::vector<std::uint32_t>& values,
                            Rynvel::ResponseData::Result result = Rynvel::ResponseData::Result::Success);

Reply answer(const Rynvel::Response& response);
Reply success(const std::vector<std::uint32_t>& values = {});
Reply refusal(const std::vector<std::uint32_t>& values = {});
/** The whole answer, after the test releases it. */
Reply delayed(const Rynvel::Response& response);
/** The first `size` bytes of the answer, and the rest after the test releases it. */
Reply split(const Rynvel::Response& response, std::size_t size);
/** The first `size` bytes of the answer and no more. */
Reply truncated(const Rynvel::Response& response, std::size_t size);
Reply silence();
Reply closing();

/** A received request, with the accessors that a server on the classes of the library uses. */
Rynvel::Request asRequest(const std::vector<std::uint8_t>& bytes);

/**
 * A register server for tests, for clients on this machine, on a port that the system chooses. It records every
 * request. A test sets the reactions. Without one, the service of the peer answers, by default with an empty success.
 */
class TestPeer {
public:
    struct ReceivedRequest {
        /** The connections are counted from 0 in the order in which they were made. */
        std::size_t connection;
        std::vector<std::uint8_t> bytes;
    };

    enum class Start { AtOnce, Later };

    /** Called by one thread for each connection. */
    using Service = std::function<Reply(std::size_t connection, const Rynvel::Request& request)>;

    /** A peer that starts later refuses connections until start(). */
    explicit TestPeer(Start start = Start::AtOnce);
    explicit TestPeer(Service service);
    TestPeer(const TestPeer&) = delete;
    TestPeer& operator=(const TestPeer&) = delete;
    ~TestPeer();

    void start();

    std::uint16_t port() const { return m_listener.port(); }
    /** The address of the peer, in the form of a remote device. */
    std::string address() const { return "127.0.0.1::" + std::to_string(port()); }

    /** Appends reactions to the next requests of any connection. */
    void script(const std::vector<Reply>& replies);

    /** Releases the next held piece of an answer. */
    void letGo();

    /** Waits until there are this many. The test fails if that takes longer than a minute. */
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
    unsigned int m_letGo = 0;
    bool m_ending = false;
    std::thread m_acceptor;
};

} // namespace RynvelTest

#endif
