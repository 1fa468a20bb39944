/* SPDX-License-Identifier: MIT */
#ifndef RYNVEL_TYVONCONTROL_DEFINITION_H
#define RYNVEL_TYVONCONTROL_DEFINITION_H

#include "rynvel/TyvonControl.h"

#include <cstring>

#include "RynvelTrace.h"

namespace Rynvel {

namespace TyvonRequest {
constexpr int enable = 0xEE00;
constexpr int disable = 0xEE01;
constexpr int interruptType = 0xEE02;
} // namespace TyvonRequest

template <typename T>
constexpr const char* tyvonChannel(const Mmap<T>* /*base*/) {
    return "Rynvel.Tyvon";
}

template <typename T>
constexpr const char* tyvonChannel(const Lseek<T>* /*base*/) {
    return "Rynvel.TyvonInterrupt";
}

template <typename Base>
ZilTrace TyvonControl<Base>::m_trace(tyvonChannel(static_cast<const Base*>(nullptr)), channelLevel,
                                     channelHeaderOption);

template <typename Base>
TyvonControl<Base>::~TyvonControl() = default;

template <typename Base>
bool TyvonControl<Base>::getInterruptType(unsigned long* type) {
    RYNVEL_ENTER();
    return this->m_linuxIo.ioctl(this->m_fd, TyvonRequest::interruptType, type) == 0;
}

template <typename Base>
bool TyvonControl<Base>::enableInterrupt() {
    RYNVEL_ENTER();
    return this->m_linuxIo.ioctl(this->m_fd, TyvonRequest::enable) == 0;
}

template <typename Base>
bool TyvonControl<Base>::disableInterrupt() {
    RYNVEL_ENTER();
    return this->m_linuxIo.ioctl(this->m_fd, TyvonRequest::disable) == 0;
}

template <typename Base>
bool TyvonControl<Base>::waitForInterrupt(unsigned long* status) {
    RYNVEL_ENTER();
    std::uint16_t word = 0;
    const int count = this->m_linuxIo.read(this->m_fd, &word, sizeof(word));
    if (count == static_cast<int>(sizeof(word))) {
        *status = word;
        RYNVEL_MESSAGE(TraceLevel::entry, "*status = ", Hex(*status));
        return true;
    }
    if (count == -1) {
        RYNVEL_MESSAGE(TraceLevel::failure, "Failed to read from device \"", this->getDevName(),
                       "\". errno = ", std::strerror(errno));
    } else {
        RYNVEL_MESSAGE(TraceLevel::failure, "Did not read correct number of bytes from \"", this->getDevName(),
                       "\". Did read ", count, " number of bytes.");
    }
    *status = 0;
    return false;
}

} // namespace Rynvel

#endif
