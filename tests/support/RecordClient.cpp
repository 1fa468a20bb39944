// SPDX-License-Identifier: MIT
#include "RecordClient.h"

#include <utility>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <gtest/gtest.h>

namespace RynvelTest {

namespace {

int connectedTo(std::uint16_t port) {
    const int socket = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    EXPECT_EQ(::connect(socket, reinterpret_cast<const sockaddr*>(&address), sizeof(address)), 0);
    return socket;
}

/** Returns the type for the register width with which the device name ends. */
Type typeOf(const std::string& name, Type type8, Type type16, Type type32) {
    const char last = name.back();
    return last == '8' ? type8 : last == '6' ? type16 : type32;
}

} // namespace

Request requestOf(Type type, const std::string& name, std::uint32_t address, const Values& values) {
    Request request(type, name);
    request.setAddress(address);
    for (const std::uint32_t value : values) {
        request.addValue(value);
    }
    return request;
}

Request readOf(Type type, const std::string& name, std::uint32_t address, std::uint32_t items) {
    Request request = requestOf(type, name, address);
    request.setLength(items);
    return request;
}

Request readOf(const std::string& name, std::uint32_t address, std::uint32_t items) {
    return readOf(typeOf(name, Type::Read8, Type::Read16, Type::Read32), name, address, items);
}

Request writeOf(const std::string& name, std::uint32_t address, const Values& values) {
    return requestOf(typeOf(name, Type::Write8, Type::Write16, Type::Write32), name, address, values);
}

Request masked(Request write, std::uint32_t bitmask) {
    write.setBitmask(bitmask);
    return write;
}

Request raiseOf(const std::string& name, const Values& word) { return requestOf(Type::Debug, name, 0, word); }

Values valuesOf(const Response& response) {
    Values values;
    for (std::uint32_t i = 0; i < response.getLength(); ++i) {
        values.push_back(response.getValue(i));
    }
    return values;
}

RecordClient::RecordClient(std::uint16_t port) : RecordClient(Socket{connectedTo(port)}) {}

RecordClient::RecordClient(Socket socket) : m_socket(socket.descriptor) {
    constexpr timeval timeout{60, 0};
    constexpr int on = 1;
    ::setsockopt(m_socket, SOL_SOCKET, SO_RCVTIMEO, &timeout, sizeof(timeout));
    ::setsockopt(m_socket, SOL_SOCKET, SO_SNDTIMEO, &timeout, sizeof(timeout));
    ::setsockopt(m_socket, IPPROTO_TCP, TCP_NODELAY, &on, sizeof(on));
}

RecordClient::RecordClient(RecordClient&& other) noexcept : m_socket(std::exchange(other.m_socket, -1)) {}

RecordClient::~RecordClient() {
    if (m_socket != -1) {
        ::close(m_socket);
    }
}

bool RecordClient::send(const Rynvel::IMessage& message) const { return send(message.toBuffer(), message.getSize()); }

bool RecordClient::send(const void* bytes, std::size_t size) const {
    return ::send(m_socket, bytes, size, MSG_NOSIGNAL) == static_cast<ssize_t>(size);
}

bool RecordClient::receive(Rynvel::IMessage& message) const {
    return ::recv(m_socket, message.toBuffer(), message.getSize(), MSG_WAITALL) ==
           static_cast<ssize_t>(message.getSize());
}

Response RecordClient::exchange(const Request& request) const {
    Response response;
    if (!send(request) || !receive(response)) {
        response.setResult(static_cast<Rynvel::ResponseData::Result>(1));
    }
    return response;
}

bool RecordClient::isRefused(const Request& request) const {
    return exchange(request).getResult() == Rynvel::ResponseData::Result::Error;
}

void RecordClient::open(const std::string& device) const { EXPECT_TRUE(succeeds(Request(Type::Open, device))); }

void RecordClient::arm(const std::string& device) const {
    open(device);
    EXPECT_TRUE(succeeds(Request(Type::WaitForInterrupt, device)));
}

std::uint32_t RecordClient::interrupt() const {
    std::uint32_t word = 0;
    return ::recv(m_socket, &word, sizeof(word), MSG_WAITALL) == sizeof(word) ? ntohl(word) : UINT32_MAX;
}

bool RecordClient::hasNothing() const {
    char byte = 0;
    return ::recv(m_socket, &byte, sizeof(byte), MSG_DONTWAIT | MSG_PEEK) < 0;
}

bool RecordClient::isEnded() const {
    char byte = 0;
    const ssize_t received = ::recv(m_socket, &byte, sizeof(byte), 0);
    return received == 0 || (received < 0 && errno == ECONNRESET);
}

void RecordClient::reset() {
    constexpr linger atOnce{1, 0};
    ::setsockopt(m_socket, SOL_SOCKET, SO_LINGER, &atOnce, sizeof(atOnce));
    ::close(std::exchange(m_socket, -1));
}

} // namespace RynvelTest
