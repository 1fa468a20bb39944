// SPDX-License-Identifier: MIT
#include "RecordConnection.h"

#include <ZilTrace.h>

#include <cerrno>
#include <chrono>
#include <cstring>
#include <future>
#include <sstream>
#include <thread>
#include <utility>

#include <arpa/inet.h>
#include <netdb.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>

#include "InterruptRecord.h"

namespace Common {

namespace {

using Cause = ExchangeError::Cause;

constexpr std::chrono::milliseconds callbackInterval(100);

constexpr ZilTraceLevel ordinaryLevel = 3;
constexpr ZilTraceLevel recordLevel = 7;
constexpr ZilTraceHdrOption headerOption = 256;

ZilTrace recordTrace("Rynvel.Client", ordinaryLevel, headerOption);

void traceRecord(const ZilTraceHeader& header, const Rynvel::IMessage& message) {
    if (recordTrace.isEnabled(recordLevel)) {
        std::ostringstream text;
        message.toStream(text);
        recordTrace.logMsg(recordLevel, header, text.str().c_str());
    }
}

ExchangeError unreachable(const std::string& reason) { return {Cause::Unreachable, reason}; }

ExchangeError connectionClosed() { return unreachable("the connection was closed"); }

ExchangeError timedOut() { return {Cause::TimedOut, "no answer in time"}; }

ExchangeError notRegisterServer(const std::string& reason) {
    return {Cause::Malformed, "not a register server: " + reason};
}

void requireResponse(const Rynvel::Response& response) {
    using Result = Rynvel::ResponseData::Result;
    if (!response.isSuccessful() && response.getResult() != Result::Error) {
        throw notRegisterServer("the result is neither 0 nor -1");
    }
    if (response.getLength() > Rynvel::recordCapacity) {
        throw notRegisterServer("the response has more than 128 values");
    }
}

struct Lookup {
    int error;
    in_addr address;
};

Lookup lookUpBlocking(const std::string& host, int flags) {
    addrinfo hints{};
    hints.ai_family = AF_INET;
    hints.ai_socktype = SOCK_STREAM;
    hints.ai_flags = flags;
    addrinfo* found = nullptr;
    Lookup lookup{getaddrinfo(host.c_str(), nullptr, &hints, &found), {}};
    if (lookup.error == 0) {
        sockaddr_in address{};
        std::memcpy(&address, found->ai_addr, sizeof(address));
        lookup.address = address.sin_addr;
        freeaddrinfo(found);
    }
    return lookup;
}

// The resolver has no time-out. If the deadline passes, the thread of the lookup continues until the resolver returns,
// and its result is discarded.
Lookup lookUpWithDeadline(const std::string& host, const Deadline& deadline, const WaitCallback& waitCallback) {
    std::packaged_task<Lookup()> task([host] { return lookUpBlocking(host, 0); });
    std::future<Lookup> result = task.get_future();
    std::thread(std::move(task)).detach();
    const auto next = [&] { return *Deadline::earlier(deadline, Deadline(callbackInterval)).timePoint(); };
    while (result.wait_until(next()) != std::future_status::ready) {
        if (deadline.hasPassed()) {
            throw timedOut();
        }
        if (waitCallback) {
            waitCallback();
        }
    }
    return result.get();
}

sockaddr_in resolve(const ServerAddress& server, const Deadline& deadline, const WaitCallback& waitCallback) {
    Lookup lookup = lookUpBlocking(server.host, AI_NUMERICHOST);
    if (lookup.error == EAI_NONAME) {
        lookup = lookUpWithDeadline(server.host, deadline, waitCallback);
    }
    if (lookup.error != 0) {
        throw unreachable(gai_strerror(lookup.error));
    }
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(server.port);
    address.sin_addr = lookup.address;
    return address;
}

/** Begins to connect a socket. Returns 0 or the error number. */
template <typename Address>
int beginToConnect(int socket, const Address& address) {
    return ::connect(socket, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) == 0 ? 0 : errno;
}

int beginToConnect(int socket, const ServerAddress& server, const Deadline& deadline,
                   const WaitCallback& waitCallback) {
    if (server.path.empty()) {
        return beginToConnect(socket, resolve(server, deadline, waitCallback));
    }
    sockaddr_un address{};
    if (server.path.size() >= sizeof(address.sun_path)) {
        return ENAMETOOLONG;
    }
    address.sun_family = AF_UNIX;
    server.path.copy(address.sun_path, server.path.size());
    int error = beginToConnect(socket, address);
    // EAGAIN means that the backlog of the server is full. poll() does not report when the backlog has room, so the
    // loop tries again.
    while (error == EAGAIN) {
        if (deadline.hasPassed()) {
            throw timedOut();
        }
        if (waitCallback) {
            waitCallback();
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
        error = beginToConnect(socket, address);
    }
    return error;
}

/** Returns the error number of a connection attempt; 0 if the attempt has succeeded. */
int connectionError(int socket) {
    int error = 0;
    socklen_t size = sizeof(error);
    return ::getsockopt(socket, SOL_SOCKET, SO_ERROR, &error, &size) == 0 ? error : errno;
}

/** Returns the number of transferred bytes; 0 if the caller must wait for the socket and try again. */
std::size_t transferred(ssize_t count) {
    if (count >= 0) {
        return static_cast<std::size_t>(count);
    }
    if (errno == EAGAIN || errno == EINTR) {
        return 0;
    }
    if (errno == EPIPE || errno == ECONNRESET) {
        throw connectionClosed();
    }
    throw unreachable(std::strerror(errno));
}

} // namespace

RecordConnection::RecordConnection(const ServerAddress& server, const Deadline& deadline, WaitCallback waitCallback)
    : m_socket(::socket(server.path.empty() ? AF_INET : AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0)),
      m_waitCallback(std::move(waitCallback)) {
    if (!m_socket.isOpen()) {
        throw unreachable(std::strerror(errno));
    }
    int error = beginToConnect(descriptor(), server, deadline, m_waitCallback);
    if (error == EINPROGRESS || error == EINTR) {
        waitFor(POLLOUT, deadline);
        error = connectionError(descriptor());
    }
    if (error != 0) {
        throw unreachable(std::strerror(error));
    }
}

bool RecordConnection::hasEnded() const {
    char byte = 0;
    const ssize_t count = ::recv(descriptor(), &byte, sizeof(byte), MSG_PEEK | MSG_DONTWAIT);
    return count == 0 || (count == -1 && errno != EAGAIN && errno != EINTR);
}

Rynvel::Response RecordConnection::exchange(const Rynvel::Request& request, const Deadline& deadline) {
    requireInSync();
    m_isInSync = false;
    Rynvel::Response response;
    requireNoExtraBytes();
    send(request, deadline);
    receive(response, deadline);
    requireResponse(response);
    // Interrupt records may follow only the response to WaitForInterrupt.
    if (request.getType() != Rynvel::RequestData::Type::WaitForInterrupt) {
        requireNoExtraBytes();
    }
    m_isInSync = true;
    return response;
}

Rynvel::Response RecordConnection::execute(const Rynvel::Request& request, const Deadline& deadline) {
    Rynvel::Response response = exchange(request, deadline);
    if (!response.isSuccessful()) {
        throw ExchangeError(Cause::Refused, "the server refuses the request");
    }
    return response;
}

void RecordConnection::open(const std::string& deviceName, const Deadline& deadline) {
    const Rynvel::Request openRequest(Rynvel::RequestData::Type::Open, deviceName);
    if (!exchange(openRequest, deadline).isSuccessful()) {
        throw ExchangeError(Cause::NotServed, "the server refuses to open '" + deviceName + "'");
    }
}

std::uint32_t RecordConnection::receiveInterrupt(const Deadline& deadline) {
    requireInSync();
    waitFor(POLLIN, deadline);
    m_isInSync = false;
    Rynvel::InterruptMessage interrupt;
    receive(interrupt, deadline);
    m_isInSync = true;
    return interruptWord(interrupt);
}

std::optional<std::uint32_t> RecordConnection::takeInterrupt() {
    static constexpr ZilTraceHeader header{"common/RecordConnection", __LINE__, "takeInterrupt"};
    requireInSync();
    m_interruptBytes += receiveSome(m_interrupt, m_interruptBytes);
    if (m_interruptBytes < m_interrupt.getSize()) {
        return std::nullopt;
    }
    m_interruptBytes = 0;
    traceRecord(header, m_interrupt);
    return interruptWord(m_interrupt);
}

int RecordConnection::poll(short events, const Deadline& deadline) const {
    pollfd ready{descriptor(), events, 0};
    if (!m_waitCallback) {
        return ::poll(&ready, 1, deadline.pollTimeout());
    }
    const int count = ::poll(&ready, 1, Deadline::earlier(deadline, Deadline(callbackInterval)).pollTimeout());
    const int error = errno;
    if (count <= 0) {
        m_waitCallback();
    }
    errno = error;
    return count;
}

void RecordConnection::waitFor(short events, const Deadline& deadline) const {
    int count = 0;
    do {
        count = poll(events, deadline);
    } while ((count == -1 && errno == EINTR) || (count == 0 && !deadline.hasPassed()));
    if (count == 0) {
        throw timedOut();
    }
}

void RecordConnection::requireInSync() const {
    if (!m_isInSync) {
        throw unreachable("an earlier exchange was not completed");
    }
}

// A peer that echoes, or that sends data without a request, is not a register server.
void RecordConnection::requireNoExtraBytes() const {
    char byte = 0;
    if (::recv(descriptor(), &byte, sizeof(byte), MSG_PEEK | MSG_DONTWAIT) > 0) {
        throw notRegisterServer("the peer sends bytes that are not part of a response");
    }
}

void RecordConnection::send(const Rynvel::IMessage& message, const Deadline& deadline) const {
    static constexpr ZilTraceHeader header{"common/RecordConnection", __LINE__, "send"};
    traceRecord(header, message);
    const auto* const bytes = static_cast<const char*>(message.toBuffer());
    std::size_t count = 0;
    while (count < message.getSize()) {
        waitFor(POLLOUT, deadline);
        count += transferred(::send(descriptor(), bytes + count, message.getSize() - count, MSG_NOSIGNAL));
    }
}

void RecordConnection::receive(Rynvel::IMessage& message, const Deadline& deadline) const {
    static constexpr ZilTraceHeader header{"common/RecordConnection", __LINE__, "receive"};
    std::size_t count = 0;
    while (count < message.getSize()) {
        waitFor(POLLIN, deadline);
        count += receiveSome(message, count);
    }
    traceRecord(header, message);
}

/** Receives bytes that follow the first `count` bytes of a record. Returns the number of the received bytes. */
std::size_t RecordConnection::receiveSome(Rynvel::IMessage& message, std::size_t count) const {
    auto* const bytes = static_cast<char*>(message.toBuffer());
    const ssize_t received = ::recv(descriptor(), bytes + count, message.getSize() - count, 0);
    if (received == 0) {
        throw connectionClosed();
    }
    return transferred(received);
}

} // namespace Common
