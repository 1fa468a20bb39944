// SPDX-License-Identifier: MIT
#include "rynvel/Messages.h"

#include <algorithm>
#include <cstddef>
#include <ostream>

#include <arpa/inet.h>

namespace Rynvel {

static_assert(sizeof(RequestData) == 660, "a request has 660 bytes");
static_assert(offsetof(RequestData, deviceName) == 4, "the device name is at byte 4");
static_assert(offsetof(RequestData, address) == 132, "the address is at byte 132");
static_assert(offsetof(RequestData, values) == 136, "the values are at byte 136");
static_assert(offsetof(RequestData, length) == 648, "the length is at byte 648");
static_assert(offsetof(RequestData, byteOrder) == 652, "the byte order is at byte 652");
static_assert(offsetof(RequestData, bitmaskOrCommand) == 656, "mask and command are at byte 656");
static_assert(sizeof(ResponseData) == 520, "a response has 520 bytes");
static_assert(offsetof(ResponseData, values) == 4, "the values are at byte 4");
static_assert(offsetof(ResponseData, length) == 516, "the length is at byte 516");

namespace {

constexpr std::array<const char*, 14> typeNames{"Open",
                                                "Close",
                                                "Read8",
                                                "Read16",
                                                "Read32",
                                                "Write8",
                                                "Write16",
                                                "Write32",
                                                "Ioctl",
                                                "GetInterruptType",
                                                "EnableInterrupt",
                                                "DisableInterrupt",
                                                "WaitForInterrupt",
                                                "Debug"};

const char* nameOf(RequestData::Type type) {
    const auto index = static_cast<std::uint32_t>(type);
    return index < typeNames.size() ? typeNames[index] : "";
}

const char* nameOf(ResponseData::Result result) {
    switch (result) {
    case ResponseData::Result::Success:
        return "Success";
    case ResponseData::Result::Error:
        return "Error";
    default:
        return "";
    }
}

template <typename Record>
void appendValue(Record& record, std::uint32_t value) {
    const std::uint32_t length = ntohl(record.length);
    if (length < recordCapacity) {
        record.values[length] = htonl(value);
        record.length = htonl(length + 1);
    }
}

template <typename Record>
void storeLength(Record& record, std::uint32_t length) {
    if (length <= recordCapacity) {
        record.length = htonl(length);
    }
}

// Returns the number of values in the record, at most the capacity. The length in a received record may be greater.
template <typename Record>
std::uint32_t validLength(const Record& record) {
    return std::min(ntohl(record.length), recordCapacity);
}

template <typename Record>
std::uint32_t valueAt(const Record& record, std::uint32_t index) {
    return index < validLength(record) ? ntohl(record.values[index]) : 0;
}

template <typename Record>
std::ostream& writeValues(std::ostream& stream, const Record& record) {
    stream << ", length: " << std::dec << ntohl(record.length) << ", values: { ";
    for (std::uint32_t i = 0; i < validLength(record); ++i) {
        stream << std::hex << valueAt(record, i) << ", ";
    }
    return stream << "} ]";
}

} // namespace

IMessage::~IMessage() = default;

template <typename T>
const void* Message<T>::toBuffer() const {
    return &m_data;
}

template <typename T>
void* Message<T>::toBuffer() {
    return &m_data;
}

template <typename T>
unsigned int Message<T>::getSize() const {
    return sizeof(T);
}

template class Message<RequestData>;
template class Message<ResponseData>;
template class Message<std::uint32_t>;

Request::Request() = default;

Request::Request(RequestData::Type type, const std::string& name) {
    setType(type);
    setDeviceName(name);
}

std::ostream& Request::toStream(std::ostream& stream) const {
    stream << "Request: [ type: " << nameOf(getType()) << ", byteOrder: " << getByteOrder()
           << ", logicalDeviceName: " << getDeviceName() << ", address: " << std::hex << getAddress()
           << ", bitmask: " << getBitmask() << ", command: " << getCommand();
    return writeValues(stream, m_data);
}

void Request::setType(RequestData::Type type) { m_data.type = htonl(static_cast<std::uint32_t>(type)); }

void Request::setDeviceName(const std::string& name) {
    const std::size_t length = std::min(name.size(), m_data.deviceName.size() - 1);
    std::copy_n(name.begin(), length, m_data.deviceName.begin());
}

void Request::setAddress(std::uint32_t address) { m_data.address = htonl(address); }

void Request::addValue(std::uint32_t value) { appendValue(m_data, value); }

void Request::setLength(std::uint32_t length) { storeLength(m_data, length); }

void Request::setBitmask(std::uint32_t bitmask) { m_data.bitmaskOrCommand = htonl(bitmask); }

void Request::setCommand(std::uint32_t command) { m_data.bitmaskOrCommand = htonl(command); }

void Request::setByteOrder(ByteOrder byteOrder) { m_data.byteOrder = htonl(byteOrder == ByteOrder::Network ? 0 : 1); }

RequestData::Type Request::getType() const { return static_cast<RequestData::Type>(ntohl(m_data.type)); }

std::string Request::getDeviceName() const {
    return {m_data.deviceName.begin(), std::find(m_data.deviceName.begin(), m_data.deviceName.end(), '\0')};
}

std::uint32_t Request::getAddress() const { return ntohl(m_data.address); }

std::uint32_t Request::getLength() const { return ntohl(m_data.length); }

std::uint32_t Request::getValue(std::uint32_t index) const { return valueAt(m_data, index); }

std::uint32_t Request::getValue() const { return getValue(0); }

std::uint32_t Request::getBitmask() const { return ntohl(m_data.bitmaskOrCommand); }

std::uint32_t Request::getCommand() const { return ntohl(m_data.bitmaskOrCommand); }

ByteOrder Request::getByteOrder() const { return ntohl(m_data.byteOrder) == 0 ? ByteOrder::Network : ByteOrder::Host; }

Response::Response() = default;

std::ostream& Response::toStream(std::ostream& stream) const {
    stream << "Response: [ result: " << nameOf(getResult());
    return writeValues(stream, m_data);
}

void Response::setResult(ResponseData::Result result) {
    m_data.result = static_cast<std::int32_t>(htonl(static_cast<std::uint32_t>(result)));
}

void Response::addValue(std::uint32_t value) { appendValue(m_data, value); }

void Response::setLength(std::uint32_t length) { storeLength(m_data, length); }

ResponseData::Result Response::getResult() const {
    return static_cast<ResponseData::Result>(ntohl(static_cast<std::uint32_t>(m_data.result)));
}

bool Response::isSuccessful() const { return getResult() == ResponseData::Result::Success; }

std::uint32_t Response::getLength() const { return ntohl(m_data.length); }

std::uint32_t Response::getValue(std::uint32_t index) const { return valueAt(m_data, index); }

std::uint32_t Response::getValue() const { return getValue(0); }

InterruptMessage::InterruptMessage() = default;

std::ostream& InterruptMessage::toStream(std::ostream& stream) const { return stream << m_data; }

} // namespace Rynvel
