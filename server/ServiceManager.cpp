// SPDX-License-Identifier: MIT
#include "ServiceManager.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <ctime>
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

/** Returns a decimal number above 0 with at most 18 digits; empty for any other text. */
std::optional<std::uint64_t> parsePositive(const std::string& text) {
    constexpr std::size_t mostNumberDigits = 18;
    const bool isNumber = !text.empty() && text.size() <= mostNumberDigits &&
                          text.find_first_not_of("0123456789") == std::string::npos && std::stoull(text) > 0;
    return isNumber ? std::optional<std::uint64_t>(std::stoull(text)) : std::nullopt;
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

// sd_notify(3) requires the monotonic time, which shows whether the message is newer than the signal.
std::string reloadingState() {
    timespec now{};
    ::clock_gettime(CLOCK_MONOTONIC, &now);
    constexpr std::int64_t perSecond = 1000000;
    const std::int64_t microseconds = std::int64_t{now.tv_sec} * perSecond + now.tv_nsec / 1000;
    return "RELOADING=1\nMONOTONIC_USEC=" + std::to_string(microseconds);
}

std::optional<std::chrono::microseconds> watchdogPeriod() {
    const std::string process = environment("WATCHDOG_PID");
    const auto period = parsePositive(environment("WATCHDOG_USEC"));
    if (!period || (!process.empty() && process != std::to_string(::getpid()))) {
        return std::nullopt;
    }
    return std::chrono::microseconds(*period);
}

} // namespace Rynveld
