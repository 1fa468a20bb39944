#include "ClientSocket.h"

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

namespace Rynveld {

namespace {

constexpr int on = 1;

/** The system doubles them. A client that reads nothing holds no more than both of the kernel's memory. */
constexpr int receiveBuffer = 64 * 1024;
constexpr int sendBuffer = 128 * 1024;

void setOption(int descriptor, int level, int option, int value) {
    ::setsockopt(descriptor, level, option, &value, sizeof(value));
}

/** A client whose machine or network has gone is found out within a minute. */
constexpr int secondsUntilProbe = 20;
constexpr int secondsBetweenProbes = 10;
constexpr int mostProbes = 3;
constexpr int millisecondsUntilGone = 1000 * (secondsUntilProbe + mostProbes * secondsBetweenProbes);

/** The result of a transfer that no signal has interrupted. */
template <typename Transfer>
ssize_t uninterrupted(const Transfer& transfer) {
    ssize_t result = transfer();
    while (result < 0 && errno == EINTR) {
        result = transfer();
    }
    return result;
}

} // namespace

// A dead client is found out by the system's probes, an answer is not held back for another.
ClientSocket::ClientSocket(int descriptor) : m_descriptor(descriptor) {
    setOption(m_descriptor, SOL_SOCKET, SO_KEEPALIVE, on);
    setOption(m_descriptor, IPPROTO_TCP, TCP_KEEPIDLE, secondsUntilProbe);
    setOption(m_descriptor, IPPROTO_TCP, TCP_KEEPINTVL, secondsBetweenProbes);
    setOption(m_descriptor, IPPROTO_TCP, TCP_KEEPCNT, mostProbes);
    setOption(m_descriptor, IPPROTO_TCP, TCP_USER_TIMEOUT, millisecondsUntilGone);
    setOption(m_descriptor, IPPROTO_TCP, TCP_NODELAY, on);
    setOption(m_descriptor, SOL_SOCKET, SO_RCVBUF, receiveBuffer);
    setOption(m_descriptor, SOL_SOCKET, SO_SNDBUF, sendBuffer);
}

ClientSocket::~ClientSocket() { ::close(m_descriptor); }

bool ClientSocket::receive(Rynvel::IMessage& message) const {
    auto* const bytes = static_cast<char*>(message.toBuffer());
    const std::size_t size = message.getSize();
    const ssize_t received = uninterrupted([&] { return ::recv(m_descriptor, bytes, size, 0); });
    const auto count = static_cast<std::size_t>(received);
    return received > 0 && (count == size || receiveRest(bytes + count, size - count));
}

bool ClientSocket::receiveRest(char* bytes, std::size_t size) const {
    using Clock = std::chrono::steady_clock;
    const auto end = Clock::now() + m_recordTime;
    std::size_t count = 0;
    while (count < size) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - Clock::now()).count();
        pollfd more{m_descriptor, POLLIN, 0};
        if (left <= 0 || uninterrupted([&] { return ::poll(&more, 1, static_cast<int>(left)); }) <= 0) {
            return false;
        }
        const ssize_t received = ::recv(m_descriptor, bytes + count, size - count, MSG_DONTWAIT);
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
            uninterrupted([&] { return ::send(m_descriptor, bytes + count, size - count, MSG_NOSIGNAL); });
        if (sent <= 0) {
            return false;
        }
        count += static_cast<std::size_t>(sent);
    }
    return true;
}

void ClientSocket::setIdleTimeout(std::chrono::milliseconds timeout) {
    m_recordTime = timeout.count() == 0 ? longestRecordTime : std::min(timeout, longestRecordTime);
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(timeout);
    timeval value{};
    value.tv_sec = static_cast<time_t>(seconds.count());
    value.tv_usec = static_cast<suseconds_t>(std::chrono::microseconds(timeout - seconds).count());
    ::setsockopt(m_descriptor, SOL_SOCKET, SO_RCVTIMEO, &value, sizeof(value));
    ::setsockopt(m_descriptor, SOL_SOCKET, SO_SNDTIMEO, &value, sizeof(value));
}

bool ClientSocket::pause(std::chrono::milliseconds duration) const {
    pollfd end{m_descriptor, 0, 0};
    return ::poll(&end, 1, static_cast<int>(duration.count())) == 0;
}

void ClientSocket::shutDown() const { ::shutdown(m_descriptor, SHUT_RDWR); }

} // namespace Rynveld
