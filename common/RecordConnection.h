/* SPDX-License-Identifier: MIT */
/**
 * @file
 * A client's connection to a register server, with deadlines.
 */
#ifndef RYNVEL_COMMON_RECORDCONNECTION_H
#define RYNVEL_COMMON_RECORDCONNECTION_H

#include <rynvel.hpp>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <stdexcept>
#include <string>

#include "Deadline.h"
#include "Descriptor.h"
#include "ServerAddress.h"

namespace Common {

/** Thrown if an exchange with a server has failed. The text says why. */
class ExchangeError : public std::runtime_error {
public:
    enum class Cause {
        /** The connection cannot be made, has ended, or is not usable after an incomplete exchange. */
        Unreachable,
        /** The deadline has passed. */
        TimedOut,
        /** The server answers Open with an error. */
        NotServed,
        /** The server answers the request with an error. The protocol has no field for the reason. */
        Refused,
        /** The response does not match the request, or violates the protocol. */
        Malformed
    };

    ExchangeError(Cause cause, const std::string& text) : std::runtime_error(text), m_cause(cause) {}

    Cause cause() const { return m_cause; }

private:
    Cause m_cause;
};

/**
 * A function that a connection calls while it waits for the peer: after each signal, and at least every 100 ms. The
 * function may throw to end the wait. The exchange is then incomplete.
 */
using WaitCallback = std::function<void()>;

/**
 * A connection that sends and receives whole records. A record may arrive in pieces. Throws an ExchangeError for every
 * failure. After an incomplete exchange, all further exchanges fail.
 *
 * Traces the records at level 7 on the channel "Rynvel.Client".
 *
 * Use a connection in one thread at a time.
 */
class RecordConnection {
public:
    /** Connects to a server. @param waitCallback the function to call during waits; empty for none. */
    RecordConnection(const ServerAddress& server, const Deadline& deadline, WaitCallback waitCallback = {});

    /**
     * Returns the socket, for poll(). The socket is readable when a record begins to arrive, or when the connection has
     * ended.
     */
    int descriptor() const { return m_socket.number(); }

    /**
     * Returns whether the peer has ended the connection. Does not wait. Returns false while received bytes are unread.
     */
    bool hasEnded() const;

    /**
     * Sends a request and returns the response, which may report an error of the server. Throws if the peer cannot be a
     * register server: if the result is neither Success nor Error, if the length is above 128, or if the peer sends
     * further bytes. After the response to WaitForInterrupt, further bytes are not an error, because interrupt records
     * may follow.
     */
    Rynvel::Response exchange(const Rynvel::Request& request, const Deadline& deadline);

    /** Like exchange(), but also throws if the response reports an error. */
    Rynvel::Response execute(const Rynvel::Request& request, const Deadline& deadline);

    /** Makes the server open a device. Later requests of this connection use that device. */
    void open(const std::string& deviceName, const Deadline& deadline);

    /**
     * Waits for the next interrupt and returns its interrupt word. If the deadline passes before a record begins to
     * arrive, you may call the function again.
     */
    std::uint32_t receiveInterrupt(const Deadline& deadline);

    /**
     * Returns the interrupt word if the last byte of the next interrupt has arrived. Does not wait, and does not call
     * the wait callback. Keeps the bytes of an incomplete record for the next call of this function.
     */
    std::optional<std::uint32_t> takeInterrupt();

private:
    int poll(short events, const Deadline& deadline) const;
    void waitFor(short events, const Deadline& deadline) const;
    void requireInSync() const;
    void requireNoExtraBytes() const;
    void send(const Rynvel::IMessage& message, const Deadline& deadline) const;
    void receive(Rynvel::IMessage& message, const Deadline& deadline) const;
    std::size_t receiveSome(Rynvel::IMessage& message, std::size_t count) const;

    const Descriptor m_socket;
    const WaitCallback m_waitCallback;
    bool m_isInSync = true;
    Rynvel::InterruptMessage m_interrupt;
    /** The number of bytes of m_interrupt that have arrived. */
    std::size_t m_interruptBytes = 0;
};

} // namespace Common

#endif
