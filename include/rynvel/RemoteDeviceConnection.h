/* SPDX-License-Identifier: MIT */
/**
 * @file
 * The connection of a client to a register server.
 */
#ifndef RYNVEL_REMOTEDEVICECONNECTION_H
#define RYNVEL_REMOTEDEVICECONNECTION_H

#include "rynvel/Connection.h"
#include "rynvel/Export.h"
#include "rynvel/LinuxIo.h"

#include <cstdint>
#include <string>

#include <netinet/in.h>

class ZilTrace;

namespace Rynvel {

/** An IPv4 address and a port, for connect(). */
class RYNVEL_EXPORT RynvelIpAddress {
public:
    /**
     * Resolves a host name, or an address such as "10.0.0.7". If the name cannot be resolved, the constructor silently
     * uses the address 0.0.0.0. The resolver of the C library uses static memory: do not resolve names in two threads
     * at the same time.
     *
     * @param host the host name or address.
     * @param port the port in host byte order.
     */
    RynvelIpAddress(const std::string& host, std::uint16_t port);

    /** Returns the socket address, which the object owns. */
    operator sockaddr*();

    /** Returns the size of the socket address in bytes, which is 16. */
    unsigned int size() const;

    /** Returns the port in host byte order. */
    std::uint16_t getIpPort() const;

    /** Returns the address as text, such as "10.0.0.7". */
    std::string getIpAddress() const;

private:
    sockaddr_in m_address{};
};

/**
 * A Connection that a client opens to a server. Use a connection in one thread at a time. The class traces on the
 * channel "Rynvel.RemoteDeviceConnection".
 */
class RYNVEL_EXPORT RemoteDeviceConnection : public Connection {
public:
    /**
     * Resolves `ipAddress`, and creates no socket.
     *
     * @param ipAddress the host name of the server, or an address such as "10.0.0.7".
     * @param port the port in host byte order.
     */
    RemoteDeviceConnection(const std::string& ipAddress, std::uint16_t port);

    /** Does not close the socket: call close() first. */
    ~RemoteDeviceConnection() override;

    /** Returns the address of the server. */
    const RynvelIpAddress& getIpAddress() const;

    /** Sleeps for 3 seconds, or until a signal handler has run. */
    void connectInterval3sec() const;

    /**
     * Creates a socket, and tries once to connect the socket to the server. Does not close a socket that the object
     * already has: call close() first.
     *
     * @return 0 for success; -1 for failure. After a failure, the object has no socket.
     */
    int connectToServer();

    /**
     * Tries to connect every 3 seconds, and returns when the server has accepted the connection. Traces every failed
     * attempt at level 2, every third failed attempt also at level 1, and the success at level 3. Does not close a
     * socket that the object already has: call close() first.
     */
    void connect();

    /** Closes the socket, if there is one. */
    void close() override;

private:
    RynvelIpAddress m_serverAddress;
    LinuxIo m_linuxIo;
    RYNVEL_LOCAL static ZilTrace m_trace;
};

} // namespace Rynvel

#endif
