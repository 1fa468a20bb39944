/* SPDX-License-Identifier: MIT */
#ifndef RYNVEL_UIO_DEFINITION_H
#define RYNVEL_UIO_DEFINITION_H

#include "rynvel/Uio.h"

#include <array>
#include <cstdio>
#include <cstring>
#include <utility>

#include <fcntl.h>

#include "RynvelAssert.h"
#include "RynvelTrace.h"

namespace Rynvel {

constexpr std::size_t uioPathSize = 4096;

inline unsigned long parseNumber(const char* text) {
    const ErrnoSaver errnoSaver;
    return std::stoul(text, nullptr, 0);
}

template <typename T>
ZilTrace Uio<T>::m_trace("Rynvel.Uio", channelLevel, channelHeaderOption);

// The braces make the compiler evaluate the arguments from left to right: the offset is read before the size.
template <typename T>
Uio<T>::Uio(const std::string& physicalDevName, std::unique_ptr<IMutex> mutex, bool fake)
    : Mmap<T>{physicalDevName, getMapData(physicalDevName, "offset"), getMapData(physicalDevName, "size"),
              std::move(mutex), fake} {
    RYNVEL_ENTER(physicalDevName, fake);
}

template <typename T>
Uio<T>::~Uio() = default;

template <typename T>
unsigned long Uio<T>::getMapData(const std::string& devicePath, const std::string& dataName) {
    std::array<char, uioPathSize> uioName{};
    std::array<char, uioPathSize> dataPath{};
    RYNVEL_TRACE_POINT(here);
    if (!readUioName(devicePath, uioName.data(), here) ||
        !formatDataPath(devicePath, uioName.data(), dataName, dataPath.data(), here)) {
        return 0;
    }
    return readAttribute(dataPath.data(), here);
}

template <typename T>
bool Uio<T>::readUioName(const std::string& devicePath, char* uioName, const ZilTraceHeader& caller) {
    const int length = LinuxIo().readlink(devicePath.c_str(), uioName, uioPathSize - 1);
    if (length == -1) {
        RYNVEL_MESSAGE_AT(caller, TraceLevel::outcome, "readlink of \"", devicePath, "\" failed with ",
                          std::strerror(errno));
        return false;
    }
    if (length >= static_cast<int>(uioPathSize)) {
        return false;
    }
    uioName[length] = '\0';
    return true;
}

template <typename T>
bool Uio<T>::formatDataPath(const std::string& devicePath, const char* uioName, const std::string& dataName,
                            char* dataPath, const ZilTraceHeader& caller) {
    const int length =
        std::snprintf(dataPath, uioPathSize, "/sys/class/uio/%s/maps/map0/%s", uioName, dataName.c_str());
    if (length >= 0 && length < static_cast<int>(uioPathSize)) {
        return true;
    }
    RYNVEL_MESSAGE_AT(caller, TraceLevel::failure,
                      length < 0 ? "snprintf failed with" : "snprintf truncated dataPath when",
                      " devicePath: ", devicePath, ", and dataName: ", dataName);
    return false;
}

template <typename T>
unsigned long Uio<T>::readAttribute(const char* dataPath, const ZilTraceHeader& caller) {
    LinuxIo linuxIo;
    const int fd = linuxIo.open(dataPath, O_RDONLY);
    if (fd == -1) {
        return 0;
    }
    std::array<char, 20> text{};
    const int length = linuxIo.read(fd, text.data(), text.size() - 1);
    const int readError = errno;
    linuxIo.close(fd);
    if (length == -1) {
        RYNVEL_MESSAGE_AT(caller, TraceLevel::failure, "read of \"", dataPath, "\" failed with ",
                          std::strerror(readError));
        return 0;
    }
    text[static_cast<std::size_t>(length)] = '\0';
    const unsigned long value = parseNumber(text.data());
    RYNVEL_MESSAGE_AT(caller, TraceLevel::detail, "read value ", Hex(value), " from \"", dataPath, "\"");
    return value;
}

template <typename T>
bool Uio<T>::getInterruptType(unsigned long* type) {
    RYNVEL_ENTER();
    if (type == nullptr) {
        failAssertionAt("type", "cppsrc/RynvelUio", 35, __PRETTY_FUNCTION__);
    }
    *type = 4;
    return true;
}

template <typename T>
bool Uio<T>::enableInterrupt() {
    RYNVEL_ENTER();
    RYNVEL_TRACE_POINT(here);
    return control(1, TraceLevel::highRate, here);
}

template <typename T>
bool Uio<T>::disableInterrupt() {
    RYNVEL_ENTER();
    RYNVEL_TRACE_POINT(here);
    return control(0, TraceLevel::failure, here);
}

template <typename T>
bool Uio<T>::control(std::int32_t state, int failureLevel, const ZilTraceHeader& caller) {
    if (this->m_linuxIo.write(this->m_fd, &state, sizeof(state)) >= 0) {
        return true;
    }
    RYNVEL_MESSAGE_AT(caller, failureLevel, "Failed to write on device \"", this->getDevName(),
                      "\". errno = ", std::strerror(errno));
    return false;
}

template <typename T>
bool Uio<T>::waitForInterrupt(unsigned long* status) {
    RYNVEL_ENTER();
    if (!this->enableInterrupt()) {
        RYNVEL_MESSAGE(TraceLevel::highRate, "Failed to enable interrupt on device \"", this->getDevName(), "\".");
        return false;
    }
    std::uint32_t count = 0;
    if (this->m_linuxIo.read(this->m_fd, &count, sizeof(count)) == -1) {
        RYNVEL_MESSAGE(TraceLevel::failure, "Failed to read from device \"", this->getDevName(),
                       "\". errno = ", std::strerror(errno));
        *status = 0;
        return false;
    }
    *status = count;
    return true;
}

} // namespace Rynvel

#endif
