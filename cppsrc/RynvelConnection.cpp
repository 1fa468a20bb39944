// SPDX-License-Identifier: MIT
#include "rynvel/Connection.h"

#include <cstring>

#include <sys/socket.h>

#include "RynvelMessageText.h"
#include "RynvelTrace.h"

namespace Rynvel {

ZilTrace Connection::m_trace("Rynvel.Connection", channelLevel, channelHeaderOption);

IConnection::~IConnection() = default;

std::unique_ptr<IConnection> IConnection::create(int socketDescriptor) {
    return std::make_unique<Connection>(socketDescriptor);
}

Connection::Connection(int socketDescriptor) : m_socketDescriptor(socketDescriptor) {}

Connection::~Connection() = default;

int Connection::getSocketDescriptor() const { return m_socketDescriptor; }

int Connection::receive(IMessage& message) const {
    RYNVEL_ENTER();
    return receive(message.toBuffer(), message.getSize()) ? 0 : -1;
}

int Connection::send(const IMessage& message) const {
    RYNVEL_ENTER(message);
    return send(message.toBuffer(), message.getSize()) ? 0 : -1;
}

void Connection::close() {
    if (m_socketDescriptor >= 0) {
        m_linuxIo.close(m_socketDescriptor);
        m_socketDescriptor = -1;
    }
}

bool Connection::receive(void* buffer, std::uint32_t length) const {
    RYNVEL_TRACE_POINT(here);
    return succeeded(m_linuxIo.read(m_socketDescriptor, buffer, length), "Reading from", here);
}

bool Connection::send(const void* buffer, std::uint32_t length) const {
    RYNVEL_TRACE_POINT(here);
    return succeeded(static_cast<int>(::send(m_socketDescriptor, buffer, length, 0)), "Sending to", here);
}

bool Connection::succeeded(int count, const char* failure, const ZilTraceHeader& caller) const {
    if (count < 0) {
        RYNVEL_MESSAGE_AT(caller, TraceLevel::failure, failure, " socket '", m_socketDescriptor,
                          "' failed with: ", std::strerror(errno));
    } else if (count == 0) {
        RYNVEL_MESSAGE_AT(caller, TraceLevel::failure, "Socket '", m_socketDescriptor, "' is closed.");
    }
    return count > 0;
}

} // namespace Rynvel
