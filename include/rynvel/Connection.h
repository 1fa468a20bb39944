/* SPDX-License-Identifier: MIT */
/**
 * @file
 * Connections that carry bytes and messages over a stream socket.
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

/** A connection that carries messages. The order of the virtual functions is part of the binary interface. */
class RYNVEL_EXPORT IConnection {
public:
    IConnection() = default;
    IConnection(const IConnection&) = delete;
    IConnection& operator=(const IConnection&) = delete;
    virtual ~IConnection();

    /** Receives bytes into the record of the message. @return 0 for success, -1 for failure. */
    virtual int receive(IMessage& message) const = 0;

    /** Sends the record of the message. @return 0 for success, -1 for failure. */
    virtual int send(const IMessage& message) const = 0;

    /** Returns the descriptor of the socket; -1 if there is none. */
    virtual int getSocketDescriptor() const = 0;

    /** Closes the socket. */
    virtual void close() = 0;

    /** Returns a Connection on a connected socket. */
    static std::unique_ptr<IConnection> create(int socketDescriptor);
};

/**
 * A connected stream socket. Every transfer is one system call, which is neither repeated nor continued, and has no
 * time-out. A short transfer is a success; the rest of the buffer stays unchanged.
 *
 * Sending to a peer that has closed the connection raises SIGPIPE, which ends the process unless the program ignores
 * that signal.
 *
 * There is no lock: only one thread at a time may use the connection. A failure leaves the socket open and keeps the
 * `errno` of the system call. Failures are traced at level 1 on the channel "Rynvel.Connection", transfers of messages
 * at level 6.
 */
class RYNVEL_EXPORT Connection : public IConnection {
public:
    /** @param socketDescriptor a connected socket, or -1 for none. */
    explicit Connection(int socketDescriptor);

    /** Leaves the socket open: call close() before. */
    ~Connection() override;

    int receive(IMessage& message) const override;
    int send(const IMessage& message) const override;
    int getSocketDescriptor() const override;

    /** Closes the socket, if there is one. */
    void close() override;

    /** Blocks until bytes arrive, and receives at most `length` of them. @return whether at least one was received. */
    bool receive(void* buffer, std::uint32_t length) const;

    /** Sends at most `length` bytes. @return whether at least one was sent. */
    bool send(const void* buffer, std::uint32_t length) const;

protected:
    int m_socketDescriptor;

private:
    RYNVEL_LOCAL bool succeeded(int count, const char* failure, const ZilTraceHeader& caller) const;

    LinuxIo m_linuxIo;
    RYNVEL_LOCAL static ZilTrace m_trace;
};

} // namespace Rynvel

#endif
