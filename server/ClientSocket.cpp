// SPDX-License-Identifier: MIT
#include "ClientSocket.h"

#include <algorithm>
#include <cerrno>

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>

#include "Deadline.h"
#include "Duration.h"

namespace Rynveld {

namespace {

constexpr int on = 1;

/**
 * The sizes of the socket buffers in bytes, which the kernel doubles. The sizes limit the kernel memory that a client
 * occupies if it does not read its responses.
 */
constexpr int receiveBuffer = 64 * 1024;
constexpr int sendBuffer = 128 * 1024;

void setOption(int descriptor, int level, int option, int value) {
    ::setsockopt(descriptor, level, option, &value, sizeof(value));
}

/** With these settings, the kernel ends the connection to an unreachable client after about 50 seconds. */
constexpr int secondsUntilProbe = 20;
constexpr int secondsBetweenProbes = 10;
constexpr int maxProbes = 3;
constexpr int millisecondsUntilGone = 1000 * (secondsUntilProbe + maxProbes * secondsBetweenProbes);

/** Repeats a transfer as long as signals interrupt it. Returns the result of the last attempt. */
template <typename Transfer>
ssize_t retryInterrupted(const Transfer& transfer) {
    ssize_t result = transfer();
    while (result < 0 && errno == EINTR) {
        result = transfer();
    }
    return result;
}

} // namespace

// Keep-alive probes detect an unreachable client. With TCP_NODELAY, the kernel sends each response at once. The TCP
// options fail for a local socket, which does not need them.
ClientSocket::ClientSocket(int descriptor) : m_socket(descriptor) {
    setOption(descriptor, SOL_SOCKET, SO_KEEPALIVE, on);
    setOption(descriptor, IPPROTO_TCP, TCP_KEEPIDLE, secondsUntilProbe);
    setOption(descriptor, IPPROTO_TCP, TCP_KEEPINTVL, secondsBetweenProbes);
    setOption(descriptor, IPPROTO_TCP, TCP_KEEPCNT, maxProbes);
    setOption(descriptor, IPPROTO_TCP, TCP_USER_TIMEOUT, millisecondsUntilGone);
    setOption(descriptor, IPPROTO_TCP, TCP_NODELAY, on);
    setOption(descriptor, SOL_SOCKET, SO_RCVBUF, receiveBuffer);
    setOption(descriptor, SOL_SOCKET, SO_SNDBUF, sendBuffer);
}

bool ClientSocket::receive(Rynvel::IMessage& message) const {
    auto* const bytes = static_cast<char*>(message.toBuffer());
    const std::size_t size = message.getSize();
    const ssize_t received = retryInterrupted([&] { return ::recv(descriptor(), bytes, size, 0); });
    const auto count = static_cast<std::size_t>(received);
    return received > 0 && (count == size || receiveRemainder(bytes + count, size - count));
}

bool ClientSocket::receiveRemainder(char* bytes, std::size_t size) const {
    const Common::Deadline end(m_recordTime);
    std::size_t count = 0;
    while (count < size) {
        pollfd more{descriptor(), POLLIN, 0};
        if (end.hasPassed() || retryInterrupted([&] { return ::poll(&more, 1, end.pollTimeout()); }) <= 0) {
            return false;
        }
        const ssize_t received = ::recv(descriptor(), bytes + count, size - count, MSG_DONTWAIT);
        if (received <= 0) {
            return false;
        }
        count += static_cast<std::size_t>(received);
    }
    return true;
}

bool ClientSocket::send(const Rynvel::IMessage& message) const {
    return send(static_cast<const char*>(message.toBuffer()), message.getSize());
}

bool ClientSocket::sendInHalves(const Rynvel::IMessage& message, std::chrono::milliseconds pause) const {
    const auto* const bytes = static_cast<const char*>(message.toBuffer());
    const std::size_t half = message.getSize() / 2;
    return send(bytes, half) && this->pause(pause) && send(bytes + half, message.getSize() - half);
}

bool ClientSocket::send(const char* bytes, std::size_t size) const {
    std::size_t count = 0;
    while (count < size) {
        const ssize_t sent =
            retryInterrupted([&] { return ::send(descriptor(), bytes + count, size - count, MSG_NOSIGNAL); });
        if (sent <= 0) {
            return false;
        }
        count += static_cast<std::size_t>(sent);
    }
    return true;
}

void ClientSocket::setIdleTimeout(std::chrono::milliseconds timeout) {
    m_recordTime = timeout.count() == 0 ? maxRecordTime : std::min(timeout, maxRecordTime);
    const timeval value = Common::toTimeval(timeout);
    ::setsockopt(descriptor(), SOL_SOCKET, SO_RCVTIMEO, &value, sizeof(value));
    ::setsockopt(descriptor(), SOL_SOCKET, SO_SNDTIMEO, &value, sizeof(value));
}

bool ClientSocket::pause(std::chrono::milliseconds duration) const {
    pollfd end{descriptor(), 0, 0};
    return ::poll(&end, 1, static_cast<int>(duration.count())) == 0;
}

void ClientSocket::shutDown() const { ::shutdown(descriptor(), SHUT_RDWR); }

} // namespace Rynveld
