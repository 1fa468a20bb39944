/* SPDX-License-Identifier: MIT */
#ifndef RYNVEL_TESTS_LOOPBACKLISTENER_H
#define RYNVEL_TESTS_LOOPBACKLISTENER_H

#include <cstdint>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <gtest/gtest.h>

namespace RynvelTest {

/**
 * A socket on the loopback interface, on a port that the system chooses. The kernel refuses connections until listen().
 */
class LoopbackListener {
public:
    LoopbackListener() {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t size = sizeof(address);
        EXPECT_EQ(bind(m_socket, reinterpret_cast<sockaddr*>(&address), size), 0);
        EXPECT_EQ(getsockname(m_socket, reinterpret_cast<sockaddr*>(&address), &size), 0);
        m_port = ntohs(address.sin_port);
    }
    LoopbackListener(const LoopbackListener&) = delete;
    LoopbackListener& operator=(const LoopbackListener&) = delete;
    ~LoopbackListener() { ::close(m_socket); }

    std::uint16_t port() const { return m_port; }
    /** @param backlog the number of connections that the system queues, minus one. */
    void listen(int backlog = 4) const { EXPECT_EQ(::listen(m_socket, backlog), 0); }
    /** Returns the next connection, or -1 after stop(). The caller closes the connection. */
    int accept() const { return ::accept(m_socket, nullptr, nullptr); }
    void stop() const { shutdown(m_socket, SHUT_RDWR); }

private:
    const int m_socket = ::socket(AF_INET, SOCK_STREAM, 0);
    std::uint16_t m_port = 0;
};

} // namespace RynvelTest

#endif
