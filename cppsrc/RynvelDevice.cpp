// SPDX-License-Identifier: MIT
#include "rynvel/Device.h"

#include <ostream>
#include <utility>

namespace Rynvel {

std::ostream& operator<<(std::ostream& os, ByteOrder byteOrder) {
    return os << (byteOrder == ByteOrder::Network ? "Network" : "Host");
}

IDevice::IDevice(std::string devName) : m_devName(std::move(devName)) {}

IDevice::~IDevice() = default;

int IDevice::ioctl(int /*request*/, unsigned long /*arg*/) { return -1; }

const std::string& IDevice::getDevName() const { return m_devName; }

template <typename T>
int Device<T>::getNativeHandle() const {
    return -1;
}

template <typename T>
bool Device<T>::cancelWaitForInterrupt(unsigned int address, T data) {
    return write(address, data);
}

template class Device<std::uint8_t>;
template class Device<std::uint16_t>;
template class Device<std::uint32_t>;

} // namespace Rynvel
