/**
 * @file
 * The client's end of the link to a register server.
 */
#ifndef RYNVEL_REMOTEDEVICECONNECTION_H
#define RYNVEL_REMOTEDEVICECONNECTION_H

#include <cstdint>
#include <string>

#include <netinet/in.h>

#include "rynvel/Connection.h"
#include "rynvel/Export.h"
#include "rynvel/LinuxIo.h"

class ZilTrace;

namespace Rynvel {

/** An IPv4 address and a port, ready for connect(). */
class RYNVEL_EXPORT RynvelIpAddress {
public:
    /**
     * Resolves a host name or dotted-quad text. A name that cannot be resolved gives 0.0.0.0 without a word. The
     * resolver's result is static: threads must not resolve at the same time.
     *
     * @param port in host byte order.
     */
    RynvelIpAddress(const std::string& host, std::uint16_t port);

    operator sockaddr*();

    /** The size of the socket address in bytes, 16. */
    unsigned int size() const;

    /** The port in host byte order. */
    std::uint16_t getIpPort() const;

    /** The address as text, such as "10.0.0.7". */
    std::string getIpAddress() const;

private:
    sockaddr_in m_address{};
};

/**
 * A Connection that connects to a server, trying for as long as it takes. It is used by one thread at a time, and
 * traced on the channel "Rynvel.RemoteDeviceConnection".
 */
class RYNVEL_EXPORT RemoteDeviceConnection : public Connection {
public:
    /** Resolves the address; creates no socket. @param port in host byte order. */
    RemoteDeviceConnection(const std::string& ipAddress, std::uint16_t port);

    /** Leaves the socket open: its owner calls close(). */
    ~RemoteDeviceConnection() override;

    const RynvelIpAddress& getIpAddress() const;

    /** Sleeps for 3 seconds; a signal ends it early. */
    void connectInterval3sec() const;

    /**
     * Makes a socket and one attempt to connect it. A socket that is there already is forgotten, not closed: close() it
     * first.
     *
     * @return 0 for success; -1 for failure, without a socket.
     */
    int connectToServer();

    /**
     * Connects, with an attempt every 3 seconds and no end: it returns only when the server has accepted. Every failed
     * attempt is traced at level 2, every third one also at level 1, the success at level 3. As connectToServer() does,
     * it forgets a socket that is there already.
     */
    void connect();

    /** Does nothing when there is no socket. */
    void close() override;

private:
    RynvelIpAddress m_serverAddress;
    LinuxIo m_linuxIo;
    RYNVEL_LOCAL static ZilTrace m_trace;
};

} // namespace Rynvel

#endif
