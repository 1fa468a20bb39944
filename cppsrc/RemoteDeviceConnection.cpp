// SPDX-License-Identifier: MIT
#include "rynvel/RemoteDeviceConnection.h"

#include <algorithm>
#include <cstring>
#include <ostream>

#include <netdb.h>
#include <sys/socket.h>
#include <unistd.h>

#include "RynvelTrace.h"

namespace Rynvel {

ZilTrace RemoteDeviceConnection::m_trace("Rynvel.RemoteDeviceConnection", channelLevel, channelHeaderOption);

static std::ostream& operator<<(std::ostream& stream, const RynvelIpAddress& address) {
    return stream << address.getIpAddress() << " at port " << address.getIpPort();
}

RynvelIpAddress::RynvelIpAddress(const std::string& host, std::uint16_t port) {
    if (const hostent* const entry = gethostbyname(host.c_str())) {
        const auto length = std::min(static_cast<std::size_t>(entry->h_length), sizeof(m_address.sin_addr));
        std::memcpy(&m_address.sin_addr, entry->h_addr_list[0], length);
    }
    m_address.sin_port = htons(port);
    m_address.sin_family = AF_INET;
}

RynvelIpAddress::operator sockaddr*() { return reinterpret_cast<sockaddr*>(&m_address); }

unsigned int RynvelIpAddress::size() const { return sizeof(m_address); }

std::uint16_t RynvelIpAddress::getIpPort() const { return ntohs(m_address.sin_port); }

std::string RynvelIpAddress::getIpAddress() const {
    const std::uint32_t address = ntohl(m_address.sin_addr.s_addr);
    return std::to_string(address >> 24U) + '.' + std::to_string(address >> 16U & 0xFFU) + '.' +
           std::to_string(address >> 8U & 0xFFU) + '.' + std::to_string(address & 0xFFU);
}

RemoteDeviceConnection::RemoteDeviceConnection(const std::string& ipAddress, std::uint16_t port)
    : Connection(-1), m_serverAddress(ipAddress, port) {
    RYNVEL_ENTER();
}

RemoteDeviceConnection::~RemoteDeviceConnection() = default;

const RynvelIpAddress& RemoteDeviceConnection::getIpAddress() const { return m_serverAddress; }

void RemoteDeviceConnection::connectInterval3sec() const { sleep(3); }

int RemoteDeviceConnection::connectToServer() {
    RYNVEL_ENTER();
    m_socketDescriptor = socket(AF_INET, SOCK_STREAM, 0);
    if (m_socketDescriptor < 0) {
        RYNVEL_MESSAGE(TraceLevel::unreachable, "Socket creation error ");
        return -1;
    }
    if (::connect(m_socketDescriptor, m_serverAddress, m_serverAddress.size()) == 0) {
        return 0;
    }
    RYNVEL_MESSAGE(TraceLevel::unreachable, "Connection Failed to ", m_serverAddress);
    close();
    return -1;
}

void RemoteDeviceConnection::connect() {
    RYNVEL_ENTER();
    unsigned int attempt = 1;
    for (; connectToServer() != 0; ++attempt) {
        if (attempt % 3 == 0) {
            RYNVEL_MESSAGE(TraceLevel::failure, "Connection failed to ", m_serverAddress, " at attempt ", attempt);
        }
        connectInterval3sec();
    }
    RYNVEL_MESSAGE(TraceLevel::outcome, "Connection succeeded to ", m_serverAddress, " at attempt ", attempt);
}

void RemoteDeviceConnection::close() {
    RYNVEL_ENTER();
    if (m_socketDescriptor >= 0) {
        m_linuxIo.close(m_socketDescriptor);
        m_socketDescriptor = -1;
    }
}

} // namespace Rynvel
