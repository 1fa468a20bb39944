/* SPDX-License-Identifier: MIT */
#ifndef RYNVEL_MMAP_DEFINITION_H
#define RYNVEL_MMAP_DEFINITION_H

#include "rynvel/Mmap.h"

#include <cstring>
#include <utility>

#include <fcntl.h>
#include <sys/mman.h>

#include "RegisterValue.h"
#include "RynvelAssert.h"
#include "RynvelDeviceLock.h"
#include "RynvelRegister.h"
#include "RynvelTrace.h"

namespace Rynvel {

template <typename T>
ZilTrace Mmap<T>::m_trace("Rynvel.Mmap", channelLevel, channelHeaderOption);

template <typename T>
Mmap<T>::Mmap(const std::string& physicalDevName, std::size_t devPageOffset, std::size_t devSize,
              std::unique_ptr<IMutex> mutex, bool fake)
    : Device<T>(physicalDevName),
      m_devPageOffset(static_cast<std::uint32_t>(devPageOffset)),
      m_devSize(static_cast<std::uint32_t>(devSize)),
      m_regMap(static_cast<T*>(MAP_FAILED)),
      m_mutex(std::move(mutex)),
      m_fake(fake) {
    RYNVEL_ENTER(physicalDevName, Hex(devPageOffset), Hex(devSize), fake);
    if (!m_fake) {
        m_fd = m_linuxIo.open(physicalDevName.c_str(), O_RDWR);
        if (m_fd == -1) {
            RYNVEL_MESSAGE(TraceLevel::unreachable, "Could not open \"", physicalDevName,
                           "\". errno = ", std::strerror(errno), ".");
            return;
        }
    }
    if (m_devSize == 0) {
        return;
    }
    RYNVEL_MESSAGE(TraceLevel::detail, "mapSize: ", m_devSize);
    void* const mapping = m_linuxIo.mmap(nullptr, m_devSize, PROT_READ | PROT_WRITE,
                                         m_fake ? MAP_SHARED | MAP_ANONYMOUS : MAP_SHARED, m_fd, 0);
    if (mapping == MAP_FAILED) {
        RYNVEL_MESSAGE(TraceLevel::failure, "Could not mmap \"", physicalDevName, "\". errno = ", std::strerror(errno),
                       ".");
        m_linuxIo.close(m_fd);
        assert(m_regMap != MAP_FAILED);
    }
    m_regMap = reinterpret_cast<T*>(static_cast<char*>(mapping) + m_devPageOffset);
}

template <typename T>
Mmap<T>::~Mmap() {
    RYNVEL_ENTER();
    if (isMapped()) {
        m_linuxIo.munmap(m_regMap, m_devSize);
    }
    if (m_fake) {
        return;
    }
    RYNVEL_MESSAGE(TraceLevel::detail, "Close \"", this->getDevName(), "\".");
    if (m_fd != -1) {
        m_linuxIo.close(m_fd);
    }
}

template <typename T>
int Mmap<T>::ioctl(int command, unsigned long arg) {
    RYNVEL_ENTER_HIGH_RATE(command, Hex(static_cast<size_t>(arg)));
    return m_fd == -1 ? -1 : m_linuxIo.ioctl(m_fd, command, arg);
}

template <typename T>
bool Mmap<T>::getInterruptType(unsigned long* /*type*/) {
    return false;
}

template <typename T>
bool Mmap<T>::enableInterrupt() {
    return false;
}

template <typename T>
bool Mmap<T>::disableInterrupt() {
    return false;
}

template <typename T>
bool Mmap<T>::waitForInterrupt(unsigned long* /*info*/) {
    return false;
}

template <typename T>
int Mmap<T>::getNativeHandle() const {
    return m_fd;
}

template <typename T>
bool Mmap<T>::read(unsigned int offset, T* data) {
    RYNVEL_ENTER_HIGH_RATE(Hex(offset));
    if (!isMapped()) {
        *data = 0;
        return false;
    }
    const DeviceLock lock(*m_mutex);
    *data = *registers(offset);
    return true;
}

template <typename T>
bool Mmap<T>::write(unsigned int offset, T data) {
    RYNVEL_ENTER_HIGH_RATE(Hex(offset), Hex(data));
    if (!isMapped()) {
        return false;
    }
    const DeviceLock lock(*m_mutex);
    *registers(offset) = data;
    return true;
}

template <typename T>
bool Mmap<T>::write(unsigned int offset, T data, T bitmask) {
    RYNVEL_ENTER_HIGH_RATE(Hex(offset), Hex(data), Hex(bitmask));
    if (!isMapped()) {
        return false;
    }
    const DeviceLock lock(*m_mutex);
    volatile T* const reg = registers(offset);
    const T current = *reg;
    *reg = replaceBits(current, data, bitmask);
    return true;
}

template <typename T>
bool Mmap<T>::read(unsigned int offset, T* data, unsigned int items, ByteOrder byteOrder) {
    RYNVEL_ENTER_HIGH_RATE(Hex(offset), Hex(data), items, byteOrder);
    if (!isMapped()) {
        return false;
    }
    const DeviceLock lock(*m_mutex);
    const volatile T* const first = registers(offset);
    if (byteOrder == ByteOrder::Network) {
        copyFromRegisters(data, first, items, [](T value) { return reverseBytes(value); });
    } else {
        copyFromRegisters(data, first, items, [](T value) { return value; });
    }
    return true;
}

template <typename T>
bool Mmap<T>::write(unsigned int offset, const T* data, unsigned int items, ByteOrder byteOrder) {
    RYNVEL_ENTER_HIGH_RATE(Hex(offset), Hex(data), items, byteOrder);
    if (!isMapped()) {
        return false;
    }
    const DeviceLock lock(*m_mutex);
    volatile T* const first = registers(offset);
    if (byteOrder == ByteOrder::Network) {
        copyToRegisters(first, data, items, [](T value) { return reverseBytes(value); });
    } else {
        copyToRegisters(first, data, items, [](T value) { return value; });
    }
    return true;
}

template <typename T>
bool Mmap<T>::isMapped() const {
    return m_regMap != MAP_FAILED;
}

template <typename T>
volatile T* Mmap<T>::registers(unsigned int offset) const {
    return m_regMap + offset;
}

} // namespace Rynvel

#endif
