#include "RecordClient.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <utility>

#include <gtest/gtest.h>

namespace RynvelTest {

using Rynvel::Request;
using Rynvel::RequestData;
using Rynvel::Response;
using Rynvel::ResponseData;

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

} // namespace

Request requestOf(RequestData::Type type, const std::string& name, std::uint32_t address,
                  const std::vector<std::uint32_t>& values) {
    Request request(type, name);
    request.setAddress(address);
    for (const std::uint32_t value : values) {
        request.addValue(value);
    }
    return request;
}

Request readOf(RequestData::Type type, const std::string& name, std::uint32_t address, std::uint32_t items) {
    Request request = requestOf(type, name, address);
    request.setLength(items);
    return request;
}

std::vector<std::uint32_t> valuesOf(const Response& response) {
    std::vector<std::uint32_t> values;
    for (std::uint32_t i = 0; i < response.getLength(); ++i) {
        values.push_back(response.getValue(i));
    }
    return values;
}

RecordClient::RecordClient(std::uint16_t port) : RecordClient(Socket{connectedTo(port)}) {}

RecordClient::RecordClient(Socket socket) : m_socket(socket.descriptor) {
    constexpr timeval patience{60, 0};
    constexpr int on = 1;
    ::setsockopt(m_socket, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof(patience));
    ::setsockopt(m_socket, SOL_SOCKET, SO_SNDTIMEO, &patience, sizeof(patience));
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
        response.setResult(static_cast<ResponseData::Result>(1));
    }
    return response;
}

bool RecordClient::isRefused(const Request& request) const {
    return exchange(request).getResult() == ResponseData::Result::Error;
}

std::uint32_t RecordClient::interrupt() const {
    std::uint32_t word = 0;
    return ::recv(m_socket, &word, sizeof(word), MSG_WAITALL) == sizeof(word) ? ntohl(word) : UINT32_MAX;
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
