// SPDX-License-Identifier: MIT
#include "rynvel/FpgaSpi32.h"

#include <cstring>
#include <utility>

#include <fcntl.h>
#include <linux/spi/spidev.h>

#include "RegisterValue.h"
#include "RynvelAssert.h"
#include "RynvelDeviceLock.h"
#include "RynvelTrace.h"

namespace Rynvel {

namespace {

constexpr std::uint8_t writeCommand = 0x01;
constexpr std::uint8_t readCommand = 0x02;
constexpr std::uint8_t success = 0x80;

// The offsets in bytes of the fields of a frame.
constexpr std::size_t addressOffset = 1;
constexpr std::size_t writtenDataOffset = 5;
constexpr std::size_t readDataOffset = 6;
constexpr std::size_t statusOffset = 10;

void putBigEndian(std::uint8_t* bytes, std::uint32_t value) {
    for (unsigned int i = 0; i < sizeof(value); ++i) {
        bytes[i] = static_cast<std::uint8_t>(value >> (24U - 8U * i));
    }
}

std::uint32_t getBigEndian(const std::uint8_t* bytes) {
    std::uint32_t value = 0;
    for (unsigned int i = 0; i < sizeof(value); ++i) {
        value = value << 8U | bytes[i];
    }
    return value;
}

std::uint32_t inByteOrder(std::uint32_t value, ByteOrder byteOrder) {
    return byteOrder == ByteOrder::Network ? reverseBytes(value) : value;
}

} // namespace

ZilTrace FpgaSpi32::m_trace("Rynvel.FpgaSpi", channelLevel, channelHeaderOption);

FpgaSpi32::FpgaSpi32(const std::string& physicalDevName, std::unique_ptr<IMutex> mutex, std::size_t blockOffset)
    : Device32(physicalDevName), m_mutex(std::move(mutex)), m_blockOffset(blockOffset) {
    RYNVEL_ENTER(physicalDevName, blockOffset);
    m_fd = m_linuxIo.open(physicalDevName.c_str(), O_RDWR);
    if (m_fd == -1) {
        RYNVEL_MESSAGE(TraceLevel::unreachable, "Could not open device \"", physicalDevName,
                       "\". errno = ", std::strerror(errno));
        failAssertionAt("m_fd != -1", "cppsrc/RynvelFpgaSpi", 67,
                        "Rynvel::FpgaSpi32::FpgaSpi32(const string&, std::unique_ptr<Rynvel::IMutex>, size_t)");
    }
}

FpgaSpi32::~FpgaSpi32() {
    RYNVEL_ENTER();
    RYNVEL_MESSAGE(TraceLevel::entry, "Device name: ", getDevName());
    m_linuxIo.close(m_fd);
}

bool FpgaSpi32::getInterruptType(unsigned long* /*type*/) { return false; }

bool FpgaSpi32::enableInterrupt() { return false; }

bool FpgaSpi32::disableInterrupt() { return false; }

bool FpgaSpi32::waitForInterrupt(unsigned long* /*info*/) { return false; }

bool FpgaSpi32::read(unsigned int offset, std::uint32_t* data) {
    RYNVEL_ENTER(Hex(offset));
    const DeviceLock lock(*m_mutex);
    Frame reply{};
    if (!transfer(makeRequest(readCommand, offset, 0), reply)) {
        return false;
    }
    const std::uint32_t status = reply[statusOffset];
    if (status == success) {
        *data = getBigEndian(&reply[readDataOffset]);
        return true;
    }
    RYNVEL_MESSAGE(TraceLevel::failure, "Error occurred while reading, status = ", Hex(status));
    *data = 0;
    return false;
}

bool FpgaSpi32::write(unsigned int offset, std::uint32_t data) {
    RYNVEL_ENTER(Hex(offset), Hex(data));
    const DeviceLock lock(*m_mutex);
    Frame reply{};
    if (!transfer(makeRequest(writeCommand, offset, data), reply)) {
        return false;
    }
    const std::uint32_t status = reply[statusOffset];
    if (status == success) {
        return true;
    }
    RYNVEL_MESSAGE(TraceLevel::failure, "Error occurred while writing, status = ", Hex(status));
    return false;
}

bool FpgaSpi32::write(unsigned int offset, std::uint32_t data, std::uint32_t bitmask) {
    RYNVEL_ENTER(Hex(offset), Hex(data), Hex(bitmask));
    if (bitmask == 0xFFFFFFFF) {
        return write(offset, data);
    }
    std::uint32_t old = 0;
    return read(offset, &old) && write(offset, replaceBits(old, data, bitmask));
}

bool FpgaSpi32::read(unsigned int offset, std::uint32_t* data, unsigned int items, ByteOrder byteOrder) {
    RYNVEL_ENTER(Hex(offset), items, byteOrder);
    for (unsigned int i = 0; i < items; ++i) {
        if (!read(offset + i, &data[i])) {
            return false;
        }
        data[i] = inByteOrder(data[i], byteOrder);
    }
    return true;
}

bool FpgaSpi32::write(unsigned int offset, const std::uint32_t* data, unsigned int items, ByteOrder byteOrder) {
    RYNVEL_ENTER(Hex(offset), items, byteOrder);
    for (unsigned int i = 0; i < items; ++i) {
        if (!write(offset + i, inByteOrder(data[i], byteOrder))) {
            return false;
        }
    }
    return true;
}

FpgaSpi32::Frame FpgaSpi32::makeRequest(std::uint8_t command, unsigned int offset, std::uint32_t data) const {
    Frame request{command};
    putBigEndian(&request[addressOffset], static_cast<std::uint32_t>(m_blockOffset + 4 * std::size_t{offset}));
    putBigEndian(&request[writtenDataOffset], data);
    return request;
}

bool FpgaSpi32::transfer(const Frame& request, Frame& reply) {
    spi_ioc_transfer message{};
    message.tx_buf = reinterpret_cast<std::uintptr_t>(request.data());
    message.rx_buf = reinterpret_cast<std::uintptr_t>(reply.data());
    message.len = sizeof(request);
    message.bits_per_word = 8;
    return m_linuxIo.ioctl(m_fd, SPI_IOC_MESSAGE(1), reinterpret_cast<unsigned long>(&message)) >= 1;
}

} // namespace Rynvel
