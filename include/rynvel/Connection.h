/* SPDX-License-Identifier: MIT */
/**
 * @file
 * Connections that transfer bytes and messages over a stream socket.
 */
#ifndef RYNVEL_CONNECTION_H
#define RYNVEL_CONNECTION_H

#include "rynvel/Export.h"
#include "rynvel/LinuxIo.h"
#include "rynvel/Messages.h"

#include <cstdint>
#include <memory>

class ZilTrace;
struct ZilTraceHeader;

namespace Rynvel {

/** The interface of a connection. The order of the virtual functions is part of the binary interface. */
class RYNVEL_EXPORT IConnection {
public:
    IConnection() = default;
    IConnection(const IConnection&) = delete;
    IConnection& operator=(const IConnection&) = delete;
    virtual ~IConnection();

    /** Receives bytes, and stores them in the record of `message`. @return 0 for success, -1 for failure. */
    virtual int receive(IMessage& message) const = 0;

    /** Sends the record of `message`. @return 0 for success, -1 for failure. */
    virtual int send(const IMessage& message) const = 0;

    /** Returns the descriptor of the socket; -1 if the connection has no socket. */
    virtual int getSocketDescriptor() const = 0;

    /** Closes the socket. */
    virtual void close() = 0;

    /**
     * Returns a new Connection that uses a connected socket. Call close() before you destroy the Connection: the
     * destructor does not close the socket.
     */
    static std::unique_ptr<IConnection> create(int socketDescriptor);
};

/**
 * A connection over a stream socket. Every transfer is a single system call without a time-out. The class does not
 * repeat a failed call or continue a short transfer. A short transfer is a success, and leaves the rest of the buffer
 * unchanged.
 *
 * Sending to a peer that has closed the connection may raise SIGPIPE, which ends the process unless the program ignores
 * the signal.
 *
 * A connection has no lock: use it in one thread at a time. After a failure, the socket is still open. If a system call
 * has failed, `errno` is that of the call. The class traces failures at level 1 and transfers of messages at level 6,
 * on the channel "Rynvel.Connection".
 */
class RYNVEL_EXPORT Connection : public IConnection {
public:
    /** @param socketDescriptor the descriptor of a connected socket; -1 for a connection without a socket. */
    explicit Connection(int socketDescriptor);

    /** Does not close the socket: call close() first. */
    ~Connection() override;

    int receive(IMessage& message) const override;
    int send(const IMessage& message) const override;
    int getSocketDescriptor() const override;

    /** Closes the socket, if there is one. */
    void close() override;

    /**
     * Blocks until bytes arrive or the connection ends, and stores at most `length` bytes.
     *
     * @return whether at least one byte was received.
     */
    bool receive(void* buffer, std::uint32_t length) const;

    /** Sends at most `length` bytes. @return whether at least one byte was sent. */
    bool send(const void* buffer, std::uint32_t length) const;

protected:
    /** The descriptor of the socket; -1 if the connection has no socket. */
    int m_socketDescriptor;

private:
    RYNVEL_LOCAL bool succeeded(int count, const char* failure, const ZilTraceHeader& caller) const;

    LinuxIo m_linuxIo;
    RYNVEL_LOCAL static ZilTrace m_trace;
};

} // namespace Rynvel

#endif
