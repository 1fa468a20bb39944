/* SPDX-License-Identifier: MIT */
/**
 * @file
 * The connected socket of a client.
 */
#ifndef RYNVELD_CLIENTSOCKET_H
#define RYNVELD_CLIENTSOCKET_H

#include <rynvel.hpp>

#include <chrono>
#include <cstddef>

#include "Descriptor.h"

namespace Rynveld {

/**
 * Sends and receives whole records. Threads: one at a time; any thread may call shutDown().
 */
class ClientSocket {
public:
    static constexpr std::chrono::milliseconds maxRecordTime{30000};

    /** @param descriptor a connected, blocking socket. The object takes ownership. */
    explicit ClientSocket(int descriptor);

    int descriptor() const { return m_socket.number(); }

    /**
     * Blocks until a whole record has arrived, in any number of pieces. False if the connection has ended or timed out.
     */
    bool receive(Rynvel::IMessage& message) const;
    /** Blocks until the kernel has taken the record: in one piece, as long as the client reads its responses. */
    bool send(const Rynvel::IMessage& message) const;

    /** Like send(), but pauses in the middle of the record. */
    bool sendInHalves(const Rynvel::IMessage& message, std::chrono::milliseconds pause) const;
    /** Waits for this time. False if the connection has ended. */
    bool pause(std::chrono::milliseconds duration) const;

    /**
     * Sets the time-out of receiving and of sending a piece of a record; 0 for none. A record that has begun must be
     * complete within the same time, or within 30 seconds if that is shorter.
     */
    void setIdleTimeout(std::chrono::milliseconds timeout);

    /** Ends the connection, and every operation that blocks on it. */
    void shutDown() const;

private:
    bool receiveRemainder(char* bytes, std::size_t size) const;
    bool send(const char* bytes, std::size_t size) const;

    const Common::Descriptor m_socket;
    std::chrono::milliseconds m_recordTime{maxRecordTime};
};

} // namespace Rynveld

#endif
