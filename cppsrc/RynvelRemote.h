/* SPDX-License-Identifier: MIT */
#ifndef RYNVEL_REMOTE_DEFINITION_H
#define RYNVEL_REMOTE_DEFINITION_H

#include "rynvel/Remote.h"

#include <algorithm>
#include <cstring>
#include <stdexcept>
#include <utility>

#include <arpa/inet.h>

#include "RynvelMessageText.h"
#include "RynvelTrace.h"

namespace Rynvel {

constexpr int defaultRemotePort = 8888;

template <typename T>
struct RemoteAccess;

template <>
struct RemoteAccess<std::uint8_t> {
    static constexpr auto read = RequestData::Type::Read8;
    static constexpr auto write = RequestData::Type::Write8;
};

template <>
struct RemoteAccess<std::uint16_t> {
    static constexpr auto read = RequestData::Type::Read16;
    static constexpr auto write = RequestData::Type::Write16;
};

template <>
struct RemoteAccess<std::uint32_t> {
    static constexpr auto read = RequestData::Type::Read32;
    static constexpr auto write = RequestData::Type::Write32;
};

template <typename T>
ZilTrace Remote<T>::m_trace("Rynvel.Remote", channelLevel, channelHeaderOption);

template <typename T>
Remote<T>::Remote(const std::string& name, const std::string& address, std::unique_ptr<IMutex> mutex)
    : Device<T>(name),
      m_requestConnection(getIp(address), static_cast<std::uint16_t>(getPort(address))),
      m_interruptConnection(getIp(address), static_cast<std::uint16_t>(getPort(address))),
      m_mutex(std::move(mutex)) {
    RYNVEL_ENTER();
    m_requestConnection.connect();
    m_interruptConnection.connect();
    open();
}

template <typename T>
Remote<T>::~Remote() = default;

template <typename T>
std::string Remote<T>::getIp(const std::string& address) {
    static const std::string delimiter("::");
    return address.substr(0, address.find(delimiter));
}

template <typename T>
int Remote<T>::getPort(const std::string& address) {
    static const std::string delimiter("::");
    const std::size_t position = address.find(delimiter);
    if (position == std::string::npos) {
        return defaultRemotePort;
    }
    try {
        return std::stoi(address.substr(position + delimiter.size()));
    } catch (const std::logic_error&) {
        RYNVEL_MESSAGE(TraceLevel::failure, "Invalid port argument, using default instead");
        return defaultRemotePort;
    }
}

template <typename T>
int Remote<T>::open() {
    RYNVEL_ENTER(this->getDevName());
    const Request openRequest(RequestData::Type::Open, this->getDevName());
    if (!sendToServer(openRequest, m_requestConnection).isSuccessful() ||
        !sendToServer(openRequest, m_interruptConnection).isSuccessful()) {
        return -1;
    }
    const Request armRequest(RequestData::Type::WaitForInterrupt, this->getDevName());
    if (!sendToServer(armRequest, m_interruptConnection).isSuccessful()) {
        m_interruptConnection.close();
    }
    return m_requestConnection.getSocketDescriptor();
}

template <typename T>
Response Remote<T>::sendToServer(const Request& request, RemoteDeviceConnection& connection) {
    RYNVEL_MESSAGE(TraceLevel::highRate, request);
    Response response;
    if (connection.send(request) != 0 || connection.receive(response) != 0) {
        response.setResult(ResponseData::Result::Error);
    }
    RYNVEL_MESSAGE(TraceLevel::highRate, response);
    return response;
}

template <typename T>
bool Remote<T>::succeeds(const Request& request) {
    return sendToServer(request, m_requestConnection).isSuccessful();
}

template <typename T>
int Remote<T>::ioctl(int command, unsigned long arg) {
    RYNVEL_ENTER(command, arg);
    Request request(RequestData::Type::Ioctl, this->getDevName());
    request.setCommand(static_cast<std::uint32_t>(command));
    request.addValue(static_cast<std::uint32_t>(arg));
    return succeeds(request) ? 0 : -1;
}

template <typename T>
bool Remote<T>::getInterruptType(unsigned long* type) {
    RYNVEL_ENTER();
    const Request request(RequestData::Type::GetInterruptType, this->getDevName());
    const Response response = sendToServer(request, m_requestConnection);
    *type = response.getValue();
    return response.isSuccessful();
}

template <typename T>
bool Remote<T>::enableInterrupt() {
    RYNVEL_ENTER();
    return succeeds(Request(RequestData::Type::EnableInterrupt, this->getDevName()));
}

template <typename T>
bool Remote<T>::disableInterrupt() {
    RYNVEL_ENTER();
    return succeeds(Request(RequestData::Type::DisableInterrupt, this->getDevName()));
}

template <typename T>
bool Remote<T>::waitForInterrupt(unsigned long* status) {
    RYNVEL_ENTER();
    InterruptMessage interrupt;
    if (m_interruptConnection.getSocketDescriptor() < 0 || m_interruptConnection.receive(interrupt) != 0) {
        return false;
    }
    std::uint32_t word = 0;
    std::memcpy(&word, interrupt.toBuffer(), sizeof(word));
    *status = ntohl(word);
    return true;
}

template <typename T>
int Remote<T>::getNativeHandle() const {
    return m_interruptConnection.getSocketDescriptor();
}

template <typename T>
bool Remote<T>::read(unsigned int address, T* value) {
    RYNVEL_ENTER(Hex(address));
    Request request(RemoteAccess<T>::read, this->getDevName());
    request.setAddress(address);
    request.setLength(1);
    const Response response = sendToServer(request, m_requestConnection);
    *value = static_cast<T>(response.getValue());
    return response.isSuccessful();
}

template <typename T>
bool Remote<T>::read(unsigned int address, T* values, unsigned int items, ByteOrder byteOrder) {
    RYNVEL_ENTER(Hex(address), items, byteOrder);
    Request request(RemoteAccess<T>::read, this->getDevName());
    request.setAddress(address);
    request.setLength(items);
    request.setByteOrder(byteOrder);
    const Response response = sendToServer(request, m_requestConnection);
    const std::uint32_t count = std::min({items, response.getLength(), recordCapacity});
    for (std::uint32_t i = 0; i < count; ++i) {
        values[i] = static_cast<T>(response.getValue(i));
    }
    return response.isSuccessful();
}

template <typename T>
bool Remote<T>::write(unsigned int address, T data) {
    RYNVEL_ENTER(Hex(address), Hex(data));
    Request request(RemoteAccess<T>::write, this->getDevName());
    request.setAddress(address);
    request.addValue(data);
    return succeeds(request);
}

template <typename T>
bool Remote<T>::write(unsigned int address, T data, T bitmask) {
    RYNVEL_ENTER(Hex(address), Hex(data), Hex(bitmask));
    Request request(RemoteAccess<T>::write, this->getDevName());
    request.setAddress(address);
    request.addValue(data);
    request.setBitmask(bitmask);
    return succeeds(request);
}

template <typename T>
bool Remote<T>::write(unsigned int address, const T* values, unsigned int items, ByteOrder byteOrder) {
    RYNVEL_ENTER(Hex(address), items, byteOrder);
    Request request(RemoteAccess<T>::write, this->getDevName());
    request.setAddress(address);
    request.setByteOrder(byteOrder);
    for (std::uint32_t i = 0; i < std::min(items, recordCapacity); ++i) {
        request.addValue(values[i]);
    }
    return succeeds(request);
}

} // namespace Rynvel

#endif
