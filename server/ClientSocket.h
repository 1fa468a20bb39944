/**
 * @file
 * The connected socket of a client.
 */
#ifndef RYNVELD_CLIENTSOCKET_H
#define RYNVELD_CLIENTSOCKET_H

#include <chrono>
#include <cstddef>

#include <rynvel.hpp>

#include "Descriptor.h"

namespace Rynveld {

/**
 * Moves whole records. Threads: one at a time, but shutDown() may be called by any.
 */
class ClientSocket {
public:
    static constexpr std::chrono::milliseconds maxRecordTime{30000};

    /** @param descriptor a connected, blocking socket, owned from now on. */
    explicit ClientSocket(int descriptor);

    int descriptor() const { return m_socket.number(); }

    /** Blocks until the record is whole, however many pieces it comes in. False when the client is gone, or idle. */
    bool receive(Rynvel::IMessage& message) const;
    /** Blocks until the record has been taken. It goes out in one piece as long as the client reads its answers. */
    bool send(const Rynvel::IMessage& message) const;

    /** The same with a pause in the middle of the record. */
    bool sendInHalves(const Rynvel::IMessage& message, std::chrono::milliseconds pause) const;
    /** Does nothing for so long. False when the connection has ended. */
    bool pause(std::chrono::milliseconds duration) const;

    /**
     * How long a piece of a record may take to come or to be taken; 0 for as long as it takes. A record that has begun
     * must be whole after the same time, or after half a minute when that is less.
     */
    void setIdleTimeout(std::chrono::milliseconds timeout);

    /** Ends the connection, and what blocks on it. */
    void shutDown() const;

private:
    bool receiveRemainder(char* bytes, std::size_t size) const;
    bool send(const char* bytes, std::size_t size) const;

    const Common::Descriptor m_socket;
    std::chrono::milliseconds m_recordTime{maxRecordTime};
};

} // namespace Rynveld

#endif
