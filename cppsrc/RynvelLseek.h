/* SPDX-License-Identifier: MIT */
#ifndef RYNVEL_LSEEK_DEFINITION_H
#define RYNVEL_LSEEK_DEFINITION_H

#include "rynvel/Lseek.h"

#include <cstring>
#include <limits>
#include <utility>

#include <fcntl.h>
#include <unistd.h>

#include "RegisterValue.h"
#include "RynvelAssert.h"
#include "RynvelDeviceLock.h"
#include "RynvelTrace.h"

namespace Rynvel {

template <typename T>
ZilTrace Lseek<T>::m_trace("Rynvel.Lseek", channelLevel, channelHeaderOption);

template <typename T>
Lseek<T>::Lseek(const std::string& physicalDevName, std::unique_ptr<IMutex> mutex)
    : Device<T>(physicalDevName), m_mutex(std::move(mutex)) {
    RYNVEL_ENTER(physicalDevName);
    m_fd = m_linuxIo.open(physicalDevName.c_str(), O_RDWR);
    if (m_fd == -1) {
        RYNVEL_MESSAGE(TraceLevel::unreachable, "Could not open device \"", physicalDevName,
                       "\". errno = ", std::strerror(errno));
    }
    assert(m_fd != -1);
}

template <typename T>
Lseek<T>::~Lseek() {
    RYNVEL_ENTER();
    RYNVEL_MESSAGE(TraceLevel::entry, "Device name: ", this->getDevName());
    m_linuxIo.close(m_fd);
}

template <typename T>
int Lseek<T>::ioctl(int command, unsigned long arg) {
    RYNVEL_ENTER(command, arg);
    return m_linuxIo.ioctl(m_fd, command, arg);
}

template <typename T>
bool Lseek<T>::getInterruptType(unsigned long* /*type*/) {
    return false;
}

template <typename T>
bool Lseek<T>::enableInterrupt() {
    return false;
}

template <typename T>
bool Lseek<T>::disableInterrupt() {
    return false;
}

template <typename T>
bool Lseek<T>::waitForInterrupt(unsigned long* /*info*/) {
    return false;
}

template <typename T>
int Lseek<T>::getNativeHandle() const {
    return m_fd;
}

template <typename T>
bool Lseek<T>::read(unsigned int address, T* data) {
    RYNVEL_ENTER(Hex(address));
    const DeviceLock lock(*m_mutex);
    return seek(address) && readNext(data);
}

template <typename T>
bool Lseek<T>::write(unsigned int address, T data) {
    RYNVEL_ENTER(Hex(address), Hex(data));
    const DeviceLock lock(*m_mutex);
    return seek(address) && writeNext(data);
}

template <typename T>
bool Lseek<T>::write(unsigned int address, T data, T bitmask) {
    RYNVEL_ENTER(Hex(address), Hex(data), Hex(bitmask));
    const DeviceLock lock(*m_mutex);
    T value = data;
    if (bitmask != std::numeric_limits<T>::max()) {
        T current = 0;
        if (!seek(address) || !readNext(&current)) {
            return false;
        }
        value = replaceBits(current, data, bitmask);
    }
    return seek(address) && writeNext(value);
}

template <typename T>
bool Lseek<T>::read(unsigned int address, T* data, unsigned int items, ByteOrder byteOrder) {
    RYNVEL_ENTER(Hex(address), items, byteOrder);
    const DeviceLock lock(*m_mutex);
    if (!seek(address)) {
        return false;
    }
    const std::int64_t total = byteOrder == ByteOrder::Network
                                   ? readReversed(data, items)
                                   : m_linuxIo.read(m_fd, data, static_cast<unsigned int>(items * sizeof(T)));
    return total == items;
}

template <typename T>
bool Lseek<T>::write(unsigned int address, const T* data, unsigned int items, ByteOrder byteOrder) {
    RYNVEL_ENTER(Hex(address), items, byteOrder);
    const DeviceLock lock(*m_mutex);
    if (!seek(address)) {
        return false;
    }
    const std::int64_t total = byteOrder == ByteOrder::Network
                                   ? writeReversed(data, items)
                                   : m_linuxIo.write(m_fd, data, static_cast<unsigned int>(items * sizeof(T)));
    return total == items;
}

template <typename T>
bool Lseek<T>::seek(unsigned int address) {
    return m_linuxIo.lseek(m_fd, static_cast<long>(address), SEEK_SET) != -1;
}

template <typename T>
bool Lseek<T>::readNext(T* data) {
    return m_linuxIo.read(m_fd, data, sizeof(T)) == static_cast<int>(sizeof(T));
}

template <typename T>
bool Lseek<T>::writeNext(T data) {
    return m_linuxIo.write(m_fd, &data, sizeof(T)) == static_cast<int>(sizeof(T));
}

template <typename T>
std::int64_t Lseek<T>::readReversed(T* data, unsigned int items) {
    std::int64_t total = 0;
    for (unsigned int i = 0; i < items; ++i) {
        T item = 0;
        const int bytes = m_linuxIo.read(m_fd, &item, sizeof(T));
        if (bytes < 0) {
            break;
        }
        total += bytes;
        data[i] = reverseBytes(item);
    }
    return total;
}

template <typename T>
std::int64_t Lseek<T>::writeReversed(const T* data, unsigned int items) {
    std::int64_t total = 0;
    for (unsigned int i = 0; i < items; ++i) {
        const T item = reverseBytes(data[i]);
        const int bytes = m_linuxIo.write(m_fd, &item, sizeof(T));
        if (bytes < 0) {
            break;
        }
        total += bytes;
    }
    return total;
}

} // namespace Rynvel

#endif
