/**
 * @file
 * A register server and how to talk to it without waiting for ever.
 */
#ifndef RYNVELCTL_SERVER_H
#define RYNVELCTL_SERVER_H

#include <chrono>
#include <cstdint>
#include <string>

#include <rynvel.hpp>

#include "TimeLimit.h"

namespace Rynvelctl {

class Server;

/** A connection of the program's own, beside those of the library. Everything that fails is thrown as Failure. */
class ServerConnection {
public:
    ServerConnection(const ServerConnection&) = delete;
    ServerConnection& operator=(const ServerConnection&) = delete;
    ~ServerConnection();

    /** One exchange. A refusal is a response like any other. */
    Rynvel::Response exchange(const Rynvel::Request& request) const;

    /** Announces the device. @throws Failure when the server does not have it. */
    void open(const std::string& deviceName) const;

private:
    friend class Server;
    ServerConnection(const Server& server, int socket) : m_server(server), m_socket(socket) {}

    const Server& m_server;
    const int m_socket;
};

class Server {
public:
    /**
     * @param address HOST or HOST::PORT; the port is 8888 when there is none.
     * @param patience how long the server may take for connecting, and for each answer.
     * @throws Failure when the text is no address.
     */
    Server(const std::string& address, std::chrono::milliseconds patience);

    /** HOST::PORT. */
    std::string name() const;

    /** Runs calls that wait for the server. The process ends, timed out, when they take too long. */
    template <typename Calls>
    auto patiently(const Calls& calls) const {
        const TimeLimit limit(m_patience, impatience());
        return calls();
    }

    /** @throws Failure when the server cannot be reached. */
    ServerConnection connect() const;

    /** The server as the library is told it, resolved. @throws Failure when the host is not known. */
    std::string numericAddress() const;

private:
    std::string impatience() const;

    std::string m_host;
    std::uint16_t m_port;
    std::chrono::milliseconds m_patience;
};

} // namespace Rynvelctl

#endif
