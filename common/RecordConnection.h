/**
 * @file
 * A client's connection to a register server, which puts records together and knows when to give up.
 */
#ifndef RYNVEL_COMMON_RECORDCONNECTION_H
#define RYNVEL_COMMON_RECORDCONNECTION_H

#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>

#include <rynvel.hpp>

#include "Deadline.h"
#include "Descriptor.h"
#include "ServerAddress.h"

namespace Common {

/** Ends an exchange with a server; the text says what went wrong. */
class ExchangeError : public std::runtime_error {
public:
    enum class Cause {
        /** There is no connection, or it has ended. */
        Unreachable,
        /** The deadline is over. */
        TimedOut,
        /** The server does not open the device. */
        NotServed,
        /** The server answers the request with an error. It does not say why. */
        Refused,
        /** The answer does not fit the request, or is none of the protocol. */
        Malformed
    };

    ExchangeError(Cause cause, const std::string& text) : std::runtime_error(text), m_cause(cause) {}

    Cause cause() const { return m_cause; }

private:
    Cause m_cause;
};

/**
 * One connection, which carries whole records whatever the pieces they come in. Everything that fails is thrown as
 * ExchangeError. After an exchange that was given up halfway, the connection carries no other one.
 *
 * The records that go over it are traced at level 7 on the channel "Rynvel.Client".
 *
 * Threads: one at a time.
 */
class RecordConnection {
public:
    RecordConnection(const ServerAddress& server, const Deadline& deadline);

    /** For poll(): it is ready to be read when a record begins to come in, or the connection has ended. */
    int descriptor() const { return m_socket.number(); }

    /**
     * Sends a request and receives its response. A refusal is a response like any other. Whatever cannot come from a
     * register server is thrown: another result than Success and Error, a length above 128, bytes beyond the response.
     */
    Rynvel::Response exchange(const Rynvel::Request& request, const Deadline& deadline);

    /** The response to a request that the server grants. @throws ExchangeError when it refuses it, too. */
    Rynvel::Response execute(const Rynvel::Request& request, const Deadline& deadline);

    /** Announces the device of the connection. */
    void open(const std::string& deviceName, const Deadline& deadline);

    /** The word of the next interrupt. It may be waited for again when the deadline is over before one begins. */
    std::uint32_t receiveInterrupt(const Deadline& deadline);

private:
    void waitFor(short events, const Deadline& deadline) const;
    void requireInSync() const;
    void requireNoExtraBytes() const;
    void send(const Rynvel::IMessage& message, const Deadline& deadline) const;
    void receive(Rynvel::IMessage& message, const Deadline& deadline) const;

    const Descriptor m_socket;
    bool m_isInSync = true;
};

} // namespace Common

#endif
