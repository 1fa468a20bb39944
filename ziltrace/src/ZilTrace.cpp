// SPDX-License-Identifier: MIT
#include "ZilTrace.h"

#include <cerrno>
#include <chrono>

#include <pthread.h>
#include <unistd.h>

#include "Channel.h"
#include "Runtime.h"

namespace {

using ZilTraceControl::Kind;
using ZilTraceControl::Record;

// A scope that keeps errno and prevents the cancellation of the thread.
class CallerState {
public:
    CallerState() : m_errno(errno) { pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &m_cancelState); }

    ~CallerState() {
        pthread_setcancelstate(m_cancelState, nullptr);
        errno = m_errno;
    }

    CallerState(const CallerState&) = delete;
    CallerState& operator=(const CallerState&) = delete;

private:
    const int m_errno;
    int m_cancelState;
};

void send(Kind kind, const ziltrace::Channel& channel, ZilTraceLevel level, const ZilTraceHeader& header,
          const char* text) noexcept {
    const CallerState callerState;
    try {
        ziltrace::runtime().write(Record{kind, channel.name.c_str(), level, channel.option, &header, text,
                                         std::chrono::system_clock::now(), gettid()});
    } catch (...) {
        // A message that cannot be written must not affect the traced program.
    }
}

} // namespace

ZilTrace::ZilTrace(const char* channelName, ZilTraceLevel level, ZilTraceHdrOption option)
    : m_level(level), m_channel(new ziltrace::Channel{channelName, level, option, m_level}) {
    ziltrace::runtime().registry().add(*m_channel);
}

ZilTrace::~ZilTrace() { ziltrace::runtime().registry().remove(*m_channel); }

void ZilTrace::logEnterMsg(ZilTraceLevel level, const ZilTraceHeader& header) noexcept {
    send(Kind::Enter, *m_channel, level, header, nullptr);
}

void ZilTrace::logEnterMsg(ZilTraceLevel level, const ZilTraceHeader& header, const char* text) noexcept {
    send(Kind::Enter, *m_channel, level, header, text);
}

void ZilTrace::logMsg(ZilTraceLevel level, const ZilTraceHeader& header, const char* text) noexcept {
    send(Kind::Message, *m_channel, level, header, text == nullptr ? "" : text);
}
