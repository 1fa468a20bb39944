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

/** What a peer does about one request. */
struct Reply {
    /** What it sends: the first piece at once, each other one when the test lets it go. */
    std::vector<std::vector<std::uint8_t>> pieces;
    /** Whether it closes the connection then. */
    bool closes = false;
};

Rynvel::Response responseOf(const std::vector<std::uint32_t>& values,
                            Rynvel::ResponseData::Result result = Rynvel::ResponseData::Result::Success);

Reply answer(const Rynvel::Response& response);
Reply success(const std::vector<std::uint32_t>& values = {});
Reply refusal(const std::vector<std::uint32_t>& values = {});
/** The whole answer, but not before the test lets it go. */
Reply delayed(const Rynvel::Response& response);
/** The first `size` bytes of the answer, and the rest when the test lets it go. */
Reply split(const Rynvel::Response& response, std::size_t size);
/** The first `size` bytes of the answer and no more. */
Reply truncated(const Rynvel::Response& response, std::size_t size);
Reply silence();
Reply closing();

/** A request as a server written against the library's classes has it. */
Rynvel::Request asRequest(const std::vector<std::uint8_t>& bytes);

/**
 * A register server for tests, on a port of the system's choice, for clients on this machine. It records every request
 * and answers as it is told to, and as its service does when it is told nothing: with an empty success.
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
    /** The peer as a remote device names it. */
    std::string address() const { return "127.0.0.1::" + std::to_string(port()); }

    /** Appends to what is done about the next requests, whatever their connection. */
    void script(const std::vector<Reply>& replies);

    /** Lets the next held piece of an answer go. */
    void letGo();

    /** Waits until there are so many; a test that waits in vain fails. */
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
