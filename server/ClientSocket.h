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

/** Sends and receives whole records. Use the object in one thread at a time. Any thread may call shutDown(). */
class ClientSocket {
public:
    static constexpr std::chrono::milliseconds maxRecordTime{30000};

    /** @param descriptor a connected, blocking socket, which the object then owns. */
    explicit ClientSocket(int descriptor);

    int descriptor() const { return m_socket.number(); }

    /**
     * Blocks until a whole record has arrived, in any number of pieces. Returns false if the connection has ended or
     * timed out.
     */
    bool receive(Rynvel::IMessage& message) const;
    /**
     * Blocks until the kernel has accepted the whole record. Returns false if the connection has ended or timed out.
     */
    bool send(const Rynvel::IMessage& message) const;

    /** Like send(), but waits for `pause` in the middle of the record. Returns false also if pause() does. */
    bool sendInHalves(const Rynvel::IMessage& message, std::chrono::milliseconds pause) const;
    /** Waits for this time. Returns false at once after shutDown(), a reset of the connection or a signal. */
    bool pause(std::chrono::milliseconds duration) const;

    /**
     * Sets the longest time for which receive() or send() waits for the client; 0 for no limit. After the first bytes
     * of a record, the rest must arrive within the same time, and within 30 seconds at most.
     */
    void setIdleTimeout(std::chrono::milliseconds timeout);

    /** Ends the connection, and every operation that blocks on the connection. */
    void shutDown() const;

private:
    bool receiveRemainder(char* bytes, std::size_t size) const;
    bool send(const char* bytes, std::size_t size) const;

    const Common::Descriptor m_socket;
    std::chrono::milliseconds m_recordTime{maxRecordTime};
};

} // namespace Rynveld

#endif
