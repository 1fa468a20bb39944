#include "Server.h"

#include <arpa/inet.h>
#include <netdb.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>

#include "Durations.h"
#include "Failure.h"
#include "Numbers.h"

namespace Rynvelctl {

namespace {

constexpr std::uint16_t defaultPort = 8888;
constexpr std::uint32_t largestPort = 65535;
constexpr const char* separator = "::";
constexpr std::size_t separatorSize = 2;

std::uint16_t parsePort(const std::string& address) {
    const std::size_t place = address.find(separator);
    if (place == std::string::npos) {
        return defaultPort;
    }
    return static_cast<std::uint16_t>(parseCount("port", address.substr(place + separatorSize), largestPort));
}

Failure unreachable(const Server& server, const std::string& reason) {
    return {ExitStatus::Unreachable, server.name() + ": " + reason};
}

bool transfer(ssize_t count, unsigned int size) { return count == static_cast<ssize_t>(size); }

} // namespace

Server::Server(const std::string& address, std::chrono::milliseconds patience)
    : m_host(address.substr(0, address.find(separator))), m_port(parsePort(address)), m_patience(patience) {
    if (m_host.empty()) {
        throw wrongUsage("server '" + address + "' names no host");
    }
}

std::string Server::name() const { return m_host + separator + std::to_string(m_port); }

std::string Server::impatience() const { return name() + ": no answer within " + describe(m_patience); }

std::string Server::numericAddress() const {
    addrinfo wanted{};
    wanted.ai_family = AF_INET;
    wanted.ai_socktype = SOCK_STREAM;
    addrinfo* found = nullptr;
    const int error = patiently([&] { return getaddrinfo(m_host.c_str(), nullptr, &wanted, &found); });
    if (error != 0) {
        throw unreachable(*this, gai_strerror(error));
    }
    std::array<char, INET_ADDRSTRLEN> text{};
    inet_ntop(AF_INET, &reinterpret_cast<const sockaddr_in*>(found->ai_addr)->sin_addr, text.data(), text.size());
    freeaddrinfo(found);
    return text.data() + std::string(separator) + std::to_string(m_port);
}

ServerConnection Server::connect() const {
    const std::string address = numericAddress();
    Rynvel::RynvelIpAddress place(address.substr(0, address.find(separator)), m_port);
    const int socket = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const int result = patiently([&] { return ::connect(socket, place, place.size()); });
    if (result != 0) {
        const int error = errno;
        ::close(socket);
        throw unreachable(*this, std::strerror(error));
    }
    return {*this, socket};
}

ServerConnection::~ServerConnection() { ::close(m_socket); }

Rynvel::Response ServerConnection::exchange(const Rynvel::Request& request) const {
    Rynvel::Response response;
    const bool done = m_server.patiently([&] {
        return transfer(::send(m_socket, request.toBuffer(), request.getSize(), MSG_NOSIGNAL), request.getSize()) &&
               transfer(::recv(m_socket, response.toBuffer(), response.getSize(), MSG_WAITALL), response.getSize());
    });
    if (!done) {
        throw unreachable(m_server, "the connection was closed");
    }
    return response;
}

void ServerConnection::open(const std::string& deviceName) const {
    const Rynvel::Request announcement(Rynvel::RequestData::Type::Open, deviceName);
    if (!exchange(announcement).isSuccessful()) {
        throw unreachable(m_server, "the server does not open '" + deviceName + "'");
    }
}

} // namespace Rynvelctl
