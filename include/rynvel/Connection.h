/**
 * @file
 * Bytes and messages over a connected stream socket.
 */
#ifndef RYNVEL_CONNECTION_H
#define RYNVEL_CONNECTION_H

#include <cstdint>
#include <memory>

#include "rynvel/Export.h"
#include "rynvel/LinuxIo.h"
#include "rynvel/Messages.h"

class ZilTrace;
struct ZilTraceHeader;

namespace Rynvel {

/** A connection that carries messages. The order of the virtual operations is part of the binary interface. */
class RYNVEL_EXPORT IConnection {
public:
    IConnection() = default;
    IConnection(const IConnection&) = delete;
    IConnection& operator=(const IConnection&) = delete;
    virtual ~IConnection();

    /** Receives into the message's record. @return 0 for success, -1 for failure. */
    virtual int receive(IMessage& message) const = 0;

    /** Sends the message's record. @return 0 for success, -1 for failure. */
    virtual int send(const IMessage& message) const = 0;

    /** The descriptor of the socket; -1 when there is none. */
    virtual int getSocketDescriptor() const = 0;

    /** Closes the socket. */
    virtual void close() = 0;

    /** A Connection on a socket that is connected already. */
    static std::unique_ptr<IConnection> create(int socketDescriptor);
};

/**
 * One connected stream socket. Every transfer is one system call: nothing is retried or continued, and there is no
 * time-out. A short transfer is a success; what is missing stays as it was.
 *
 * Sending to a peer that is gone raises SIGPIPE in the process, which ends it unless the program ignores that signal.
 *
 * There is no lock: one exchange at a time. A failure leaves the socket open, and `errno` as the system call left it;
 * it is traced at level 1 on the channel "Rynvel.Connection", transfers of messages at level 6.
 */
class RYNVEL_EXPORT Connection : public IConnection {
public:
    /** @param socketDescriptor a connected socket, or -1 for none. */
    explicit Connection(int socketDescriptor);

    /** Leaves the socket open: its owner calls close(). */
    ~Connection() override;

    int receive(IMessage& message) const override;
    int send(const IMessage& message) const override;
    int getSocketDescriptor() const override;

    /** Does nothing when there is no socket. */
    void close() override;

    /** Blocks until something comes, and receives up to `length` bytes of it. `true` when at least one came. */
    bool receive(void* buffer, std::uint32_t length) const;

    /** Sends up to `length` bytes. `true` when at least one went. */
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
