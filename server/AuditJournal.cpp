// SPDX-License-Identifier: MIT
#include "AuditJournal.h"

#include <cerrno>
#include <utility>

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>

namespace Rynveld {

AuditJournal::AuditJournal(std::string path, std::chrono::milliseconds timeout)
    : m_path(std::move(path)), m_timeout(timeout) {}

int AuditJournal::connect() {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (m_path.size() >= sizeof(address.sun_path)) {
        return ENAMETOOLONG;
    }
    m_path.copy(address.sun_path, m_path.size());
    Common::Descriptor socket(::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    if (::connect(socket.number(), reinterpret_cast<const sockaddr*>(&address), sizeof(address)) != 0) {
        return errno;
    }
    m_socket = std::move(socket);
    return 0;
}

int AuditJournal::send(const std::string& message) {
    if (!m_socket.isOpen()) {
        const int error = connect();
        if (error != 0) {
            return error;
        }
    }
    const auto sent = [&] { return ::send(m_socket.number(), message.data(), message.size(), MSG_NOSIGNAL) >= 0; };
    if (sent()) {
        m_isStuck = false;
        return 0;
    }
    // Only the first failure waits, because a journal that accepts no messages must not delay every request.
    pollfd room{m_socket.number(), POLLOUT, 0};
    const int timeout = std::exchange(m_isStuck, true) ? 0 : static_cast<int>(m_timeout.count());
    if (errno == EAGAIN && ::poll(&room, 1, timeout) == 1 && sent()) {
        m_isStuck = false;
        return 0;
    }
    return errno;
}

// Connects again if the journal was restarted, because the restart may have created a new socket.
int AuditJournal::write(const std::string& line) {
    const std::string message = "MESSAGE=" + line + "PRIORITY=6\nSYSLOG_IDENTIFIER=rynveld\nRYNVELD_AUDIT=1\n";
    int error = send(message);
    if (error == ECONNREFUSED || error == ENOTCONN) {
        m_socket = Common::Descriptor();
        error = send(message);
    }
    return error;
}

} // namespace Rynveld
