// SPDX-License-Identifier: MIT
#include "ServiceManager.h"

#include <cstddef>
#include <cstdlib>
#include <stdexcept>

#include <fcntl.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include "Descriptor.h"
#include "Number.h"

namespace Rynveld {

namespace {

constexpr int firstPassedDescriptor = 3;

std::string environment(const char* name) {
    const char* const value = std::getenv(name);
    return value == nullptr ? "" : value;
}

/**
 * Stores the address of the service manager's socket and returns the length of the address; 0 if the path is not valid.
 */
socklen_t addressOf(const std::string& path, sockaddr_un& address) {
    if (path.size() < 2 || path.size() > sizeof(address.sun_path) || (path[0] != '/' && path[0] != '@')) {
        return 0;
    }
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, path.size());
    if (path[0] == '@') {
        address.sun_path[0] = '\0';
    }
    return static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + path.size());
}

int socketOption(int socket, int option) {
    int value = 0;
    socklen_t size = sizeof(value);
    return ::getsockopt(socket, SOL_SOCKET, option, &value, &size) == 0 ? value : -1;
}

bool listensForClients(int socket) {
    const bool isTcp = socketOption(socket, SO_PROTOCOL) == IPPROTO_TCP;
    const bool isLocal = socketOption(socket, SO_DOMAIN) == AF_UNIX && socketOption(socket, SO_TYPE) == SOCK_STREAM;
    return socketOption(socket, SO_ACCEPTCONN) == 1 && (isTcp || isLocal);
}

/**
 * Returns the number of passed sockets; 0 for an empty text.
 *
 * @throws std::runtime_error if the text is neither empty nor a number of at most 4 digits.
 */
int parseSocketCount(const std::string& text) {
    constexpr Common::NumberFormat fourDigits{false, false, 4};
    const auto count = Common::parseNumber(text.empty() ? "0" : text, fourDigits);
    if (!count) {
        throw std::runtime_error("LISTEN_FDS: '" + text +
                                 "' is not a number of sockets (use at most 4 decimal digits)");
    }
    return static_cast<int>(*count);
}

} // namespace

std::vector<int> activationSockets() {
    std::vector<int> sockets;
    if (environment("LISTEN_PID") != std::to_string(::getpid())) {
        return sockets;
    }
    const int end = firstPassedDescriptor + parseSocketCount(environment("LISTEN_FDS"));
    for (int socket = firstPassedDescriptor; socket < end; ++socket) {
        if (!listensForClients(socket)) {
            throw std::runtime_error("descriptor " + std::to_string(socket) +
                                     ": not a listening TCP or local stream socket");
        }
        ::fcntl(socket, F_SETFD, FD_CLOEXEC);
        sockets.push_back(socket);
    }
    return sockets;
}

void notifyServiceManager(const std::string& state) {
    sockaddr_un address{};
    const socklen_t length = addressOf(environment("NOTIFY_SOCKET"), address);
    if (length == 0) {
        return;
    }
    const Common::Descriptor socket(::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    if (socket.isOpen()) {
        ::sendto(socket.number(), state.data(), state.size(), MSG_NOSIGNAL | MSG_DONTWAIT,
                 reinterpret_cast<const sockaddr*>(&address), length);
    }
}

} // namespace Rynveld
