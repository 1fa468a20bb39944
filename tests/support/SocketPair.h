/* SPDX-License-Identifier: MIT */
#ifndef RYNVEL_TESTS_SOCKETPAIR_H
#define RYNVEL_TESTS_SOCKETPAIR_H

#include <array>
#include <thread>
#include <utility>

#include <linux/sockios.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <gtest/gtest.h>

namespace RynvelTest {

/** Waits until the other end of the pair has received all bytes that were sent from the socket. */
inline void waitUntilTaken(int socket) {
    int waiting = 1;
    while (::ioctl(socket, SIOCOUTQ, &waiting) == 0 && waiting > 0) {
        std::this_thread::yield();
    }
}

class SocketPair {
public:
    /** @param type SOCK_STREAM, or SOCK_SEQPACKET to receive the bytes of each send() separately. */
    explicit SocketPair(int type = SOCK_STREAM) {
        EXPECT_EQ(::socketpair(AF_UNIX, type | SOCK_CLOEXEC, 0, m_ends.data()), 0);
    }
    SocketPair(const SocketPair&) = delete;
    SocketPair& operator=(const SocketPair&) = delete;
    ~SocketPair() {
        for (const int end : m_ends) {
            if (end != -1) {
                ::close(end);
            }
        }
    }

    int server() const { return m_ends[0]; }
    int client() const { return m_ends[1]; }

    /** Returns the socket of an end. The caller closes the socket. */
    int releaseServer() { return std::exchange(m_ends[0], -1); }
    int releaseClient() { return std::exchange(m_ends[1], -1); }

private:
    std::array<int, 2> m_ends{-1, -1};
};

} // namespace RynvelTest

#endif
