// SPDX-License-Identifier: MIT
#include "TestPeer.h"

#include <algorithm>
#include <chrono>
#include <utility>

#include <sys/socket.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "MessageBytes.h"

namespace RynvelTest {

namespace {

constexpr std::size_t requestSize = 660;
constexpr std::chrono::seconds timeout(30);

std::pair<Bytes, Bytes> cut(const Bytes& bytes, std::size_t size) {
    const auto middle = bytes.begin() + static_cast<std::ptrdiff_t>(size);
    return {Bytes(bytes.begin(), middle), Bytes(middle, bytes.end())};
}

bool receiveAll(int socket, Bytes& bytes) {
    return ::recv(socket, bytes.data(), bytes.size(), MSG_WAITALL) == static_cast<ssize_t>(bytes.size());
}

bool sendAll(int socket, const Bytes& bytes) {
    return ::send(socket, bytes.data(), bytes.size(), MSG_NOSIGNAL) == static_cast<ssize_t>(bytes.size());
}

} // namespace

Rynvel::Response responseOf(const std::vector<std::uint32_t>& values, Rynvel::ResponseData::Result result) {
    Rynvel::Response response;
    response.setResult(result);
    for (const std::uint32_t value : values) {
        response.addValue(value);
    }
    return response;
}

Reply answer(const Rynvel::Response& response) { return {{bytesOf(response)}}; }

Reply success(const std::vector<std::uint32_t>& values) { return answer(responseOf(values)); }

Reply refusal(const std::vector<std::uint32_t>& values) {
    return answer(responseOf(values, Rynvel::ResponseData::Result::Error));
}

Reply delayed(const Rynvel::Response& response) { return {{{}, bytesOf(response)}}; }

Reply split(const Rynvel::Response& response, std::size_t size) {
    const auto pieces = cut(bytesOf(response), size);
    return {{pieces.first, pieces.second}};
}

Reply truncated(const Rynvel::Response& response, std::size_t size) { return {{cut(bytesOf(response), size).first}}; }

Reply silence() { return {}; }

Reply closing() { return {{}, true}; }

Rynvel::Request asRequest(const Bytes& bytes) {
    Rynvel::Request request;
    std::copy(bytes.begin(), bytes.end(), static_cast<std::uint8_t*>(request.toBuffer()));
    return request;
}

TestPeer::TestPeer(Start start) : TestPeer(start, [](std::size_t, const Rynvel::Request&) { return success(); }) {}

TestPeer::TestPeer(Service service) : TestPeer(Start::AtOnce, std::move(service)) {}

TestPeer::TestPeer(Start start, Service service) : m_service(std::move(service)) {
    if (start == Start::AtOnce) {
        this->start();
    }
}

TestPeer::~TestPeer() {
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_ending = true;
        for (const int socket : m_sockets) {
            shutdown(socket, SHUT_RDWR);
        }
    }
    m_changed.notify_all();
    m_listener.stop();
    if (m_acceptor.joinable()) {
        m_acceptor.join();
    }
    for (auto& server : m_servers) {
        server.join();
    }
    for (const int socket : m_sockets) {
        ::close(socket);
    }
}

void TestPeer::start() {
    m_listener.listen();
    m_acceptor = std::thread([this] { accept(); });
}

void TestPeer::accept() {
    for (int socket = m_listener.accept(); socket >= 0; socket = m_listener.accept()) {
        const std::lock_guard<std::mutex> lock(m_mutex);
        const std::size_t connection = m_sockets.size();
        m_sockets.push_back(socket);
        if (m_ending) {
            return;
        }
        m_servers.emplace_back([this, connection, socket] { serve(connection, socket); });
        m_changed.notify_all();
    }
}

void TestPeer::serve(std::size_t connection, int socket) {
    Bytes request(requestSize);
    while (receiveAll(socket, request)) {
        perform(nextReply(connection, request), socket);
    }
}

Reply TestPeer::nextReply(std::size_t connection, const Bytes& request) {
    const auto scripted = scriptedReply(connection, request);
    return scripted ? *scripted : m_service(connection, asRequest(request));
}

std::optional<Reply> TestPeer::scriptedReply(std::size_t connection, const Bytes& request) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_requests.push_back({connection, request});
    m_changed.notify_all();
    if (m_replies.empty()) {
        return std::nullopt;
    }
    Reply reply = std::move(m_replies.front());
    m_replies.pop_front();
    return reply;
}

void TestPeer::perform(const Reply& reply, int socket) {
    for (std::size_t i = 0; i < reply.pieces.size(); ++i) {
        if (i > 0) {
            waitToLetGo();
        }
        // Sending may fail, because a client may disconnect before the last answer at the end of a test.
        sendAll(socket, reply.pieces[i]);
    }
    if (reply.closes) {
        shutdown(socket, SHUT_RDWR);
    }
}

void TestPeer::waitToLetGo() {
    std::unique_lock<std::mutex> lock(m_mutex);
    m_changed.wait(lock, [this] { return m_releaseNextPiece > 0 || m_ending; });
    if (m_releaseNextPiece > 0) {
        --m_releaseNextPiece;
    }
}

void TestPeer::script(const std::vector<Reply>& replies) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_replies.insert(m_replies.end(), replies.begin(), replies.end());
}

void TestPeer::releaseNextPiece() {
    const std::lock_guard<std::mutex> lock(m_mutex);
    ++m_releaseNextPiece;
    m_changed.notify_all();
}

std::vector<TestPeer::ReceivedRequest> TestPeer::requests(std::size_t count) {
    std::unique_lock<std::mutex> lock(m_mutex);
    EXPECT_TRUE(m_changed.wait_for(lock, timeout, [&] { return m_requests.size() >= count; }))
        << m_requests.size() << " requests arrived instead of " << count;
    return m_requests;
}

void TestPeer::clearRequests() {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_requests.clear();
}

int TestPeer::socketOf(std::size_t connection) {
    std::unique_lock<std::mutex> lock(m_mutex);
    m_changed.wait(lock, [&] { return m_sockets.size() > connection; });
    return m_sockets[connection];
}

void TestPeer::send(std::size_t connection, const Bytes& bytes) { EXPECT_TRUE(sendAll(socketOf(connection), bytes)); }

void TestPeer::close(std::size_t connection) { shutdown(socketOf(connection), SHUT_RDWR); }

} // namespace RynvelTest
