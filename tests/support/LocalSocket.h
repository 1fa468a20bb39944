/* SPDX-License-Identifier: MIT */
#ifndef RYNVEL_TESTS_LOCALSOCKET_H
#define RYNVEL_TESTS_LOCALSOCKET_H

#include <array>
#include <cstddef>
#include <string>

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <gtest/gtest.h>

namespace RynvelTest {

/** A local socket whose name is a path, or "@" and a name in the abstract name space. */
class LocalSocket {
public:
    explicit LocalSocket(int type, std::string name = "@rynvel test " + std::to_string(::getpid()))
        : m_name(std::move(name)), m_socket(::socket(AF_UNIX, type | SOCK_CLOEXEC, 0)) {
        m_address.sun_family = AF_UNIX;
        m_name.copy(m_address.sun_path, sizeof(m_address.sun_path));
        if (m_name[0] == '@') {
            m_address.sun_path[0] = '\0';
        }
        EXPECT_EQ(::bind(m_socket, address(), size()), 0);
    }
    LocalSocket(const LocalSocket&) = delete;
    LocalSocket& operator=(const LocalSocket&) = delete;
    ~LocalSocket() { ::close(m_socket); }

    int descriptor() const { return m_socket; }
    const std::string& name() const { return m_name; }

    /** Returns a new socket that is connected to this one. */
    int connect(int type) const {
        const int client = ::socket(AF_UNIX, type | SOCK_CLOEXEC, 0);
        EXPECT_EQ(::connect(client, address(), size()), 0);
        return client;
    }

    /** Returns the next datagram, or "nothing" if receiving fails. If `flags` is 0, waits for a datagram. */
    std::string received(int flags = MSG_DONTWAIT) const {
        std::array<char, 100> text{};
        const ssize_t length = ::recv(m_socket, text.data(), text.size(), flags);
        return length < 0 ? "nothing" : std::string(text.data(), static_cast<std::size_t>(length));
    }

private:
    const sockaddr* address() const { return reinterpret_cast<const sockaddr*>(&m_address); }
    socklen_t size() const { return static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + m_name.size()); }

    const std::string m_name;
    const int m_socket;
    sockaddr_un m_address{};
};

} // namespace RynvelTest

#endif
