// SPDX-License-Identifier: MIT
#include "RemoteDevice.h"

#include <algorithm>
#include <utility>

#include "RegisterWord.h"

namespace Common {

namespace {

using Type = Rynvel::RequestData::Type;

struct RequestTypes {
    Type read;
    Type write;
};

RequestTypes typesOf(unsigned int width) {
    switch (width) {
    case 8:
        return {Type::Read8, Type::Write8};
    case 16:
        return {Type::Read16, Type::Write16};
    default:
        return {Type::Read32, Type::Write32};
    }
}

ExchangeError malformed(const std::string& text) { return {ExchangeError::Cause::Malformed, text}; }

void requireValues(const Rynvel::Response& response, std::uint32_t count) {
    if (response.getLength() != count) {
        throw malformed("the server answers with " + std::to_string(response.getLength()) + " values instead of " +
                        std::to_string(count));
    }
}

} // namespace

RemoteDevice::RemoteDevice(ServerAddress server, std::string name, unsigned int width, DeadlineFactory deadlineFactory,
                           WaitCallback waitCallback)
    : m_server(std::move(server)),
      m_name(std::move(name)),
      m_width(width),
      m_deadlineFactory(std::move(deadlineFactory)),
      m_waitCallback(std::move(waitCallback)),
      m_requests(m_server, m_deadlineFactory(), m_waitCallback) {
    m_requests.open(m_name, m_deadlineFactory());
}

std::uint32_t RemoteDevice::read(std::uint32_t address) {
    Rynvel::Request readRequest = request(typesOf(m_width).read);
    return readValues(readRequest, address, 1).front();
}

std::vector<std::uint32_t> RemoteDevice::read(std::uint32_t address, std::uint32_t items, Rynvel::ByteOrder order) {
    Rynvel::Request readRequest = request(typesOf(m_width).read);
    readRequest.setByteOrder(order);
    return readValues(readRequest, address, items);
}

void RemoteDevice::write(std::uint32_t address, std::uint32_t value) {
    Rynvel::Request writeRequest = request(typesOf(m_width).write);
    writeRequest.setAddress(address);
    writeRequest.addValue(value);
    execute(writeRequest);
}

void RemoteDevice::write(std::uint32_t address, std::uint32_t value, std::uint32_t bitmask) {
    if (bitmask == 0) {
        return;
    }
    Rynvel::Request writeRequest = request(typesOf(m_width).write);
    writeRequest.setAddress(address);
    writeRequest.addValue(value);
    writeRequest.setBitmask(bitmask);
    execute(writeRequest);
}

void RemoteDevice::write(std::uint32_t address, const std::uint32_t* values, std::uint32_t items) {
    Rynvel::Request writeRequest = request(typesOf(m_width).write);
    writeRequest.setAddress(address);
    writeRequest.setByteOrder(Rynvel::ByteOrder::Host);
    std::for_each(values, values + items, [&](std::uint32_t value) { writeRequest.addValue(value); });
    execute(writeRequest);
}

int RemoteDevice::ioctl(std::uint32_t command, std::uint32_t argument) {
    Rynvel::Request ioctlRequest = request(Type::Ioctl);
    ioctlRequest.setCommand(command);
    ioctlRequest.addValue(argument);
    return static_cast<int>(execute(ioctlRequest).getValue());
}

std::optional<std::uint32_t> RemoteDevice::interruptType() {
    const Rynvel::Response response = m_requests.exchange(request(Type::GetInterruptType), m_deadlineFactory());
    if (!response.isSuccessful()) {
        return std::nullopt;
    }
    requireValues(response, 1);
    return response.getValue();
}

void RemoteDevice::enableInterrupt() { execute(request(Type::EnableInterrupt)); }

void RemoteDevice::disableInterrupt() { execute(request(Type::DisableInterrupt)); }

void RemoteDevice::raiseInterrupt(std::uint32_t word) {
    Rynvel::Request debugRequest = request(Type::Debug);
    debugRequest.addValue(word);
    execute(debugRequest);
}

int RemoteDevice::arm() {
    m_interrupts.emplace(m_server, m_deadlineFactory(), m_waitCallback);
    m_interrupts->open(m_name, m_deadlineFactory());
    m_interrupts->execute(request(Type::WaitForInterrupt), m_deadlineFactory());
    return m_interrupts->descriptor();
}

std::uint32_t RemoteDevice::receiveInterrupt(const Deadline& deadline) {
    return m_interrupts->receiveInterrupt(deadline);
}

std::optional<std::uint32_t> RemoteDevice::takeInterrupt() { return m_interrupts->takeInterrupt(); }

Rynvel::Response RemoteDevice::execute(const Rynvel::Request& request) {
    return m_requests.execute(request, m_deadlineFactory());
}

std::vector<std::uint32_t> RemoteDevice::readValues(Rynvel::Request& readRequest, std::uint32_t address,
                                                    std::uint32_t items) {
    readRequest.setAddress(address);
    readRequest.setLength(items);
    const Rynvel::Response response = execute(readRequest);
    requireValues(response, items);
    std::vector<std::uint32_t> values;
    for (std::uint32_t i = 0; i < items; ++i) {
        values.push_back(valueIn(response, i));
    }
    return values;
}

std::uint32_t RemoteDevice::valueIn(const Rynvel::Response& response, std::uint32_t index) const {
    const std::uint32_t value = response.getValue(index);
    if (value > maxValue(m_width)) {
        throw malformed("the server answers with a value of more than " + std::to_string(m_width) + " bits");
    }
    return value;
}

} // namespace Common
