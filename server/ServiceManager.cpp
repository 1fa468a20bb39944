#include "ServiceManager.h"

#include <fcntl.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstddef>
#include <cstdlib>
#include <stdexcept>

namespace Rynveld {

namespace {

constexpr int firstPassedDescriptor = 3;

std::string environment(const char* name) {
    const char* const value = std::getenv(name);
    return value == nullptr ? "" : value;
}

/** The address of the manager's socket; its length is 0 when the path cannot be one. */
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

int optionOf(int socket, int option) {
    int value = 0;
    socklen_t size = sizeof(value);
    return ::getsockopt(socket, SOL_SOCKET, option, &value, &size) == 0 ? value : -1;
}

bool listensForTcp(int socket) {
    return optionOf(socket, SO_ACCEPTCONN) == 1 && optionOf(socket, SO_PROTOCOL) == IPPROTO_TCP;
}

} // namespace

std::optional<int> activationSocket() {
    if (environment("LISTEN_PID") != std::to_string(::getpid()) || environment("LISTEN_FDS").empty() ||
        environment("LISTEN_FDS") == "0") {
        return std::nullopt;
    }
    if (!listensForTcp(firstPassedDescriptor)) {
        throw std::runtime_error("the socket that was passed does not listen for TCP connections");
    }
    ::fcntl(firstPassedDescriptor, F_SETFD, FD_CLOEXEC);
    return firstPassedDescriptor;
}

void notifyServiceManager(const std::string& state) {
    sockaddr_un address{};
    const socklen_t length = addressOf(environment("NOTIFY_SOCKET"), address);
    if (length == 0) {
        return;
    }
    const int socket = ::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (socket != -1) {
        ::sendto(socket, state.data(), state.size(), MSG_NOSIGNAL, reinterpret_cast<const sockaddr*>(&address), length);
        ::close(socket);
    }
}

} // namespace Rynveld
