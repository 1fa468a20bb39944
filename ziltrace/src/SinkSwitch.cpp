// SPDX-License-Identifier: MIT
#include "SinkSwitch.h"

#include <mutex>
#include <shared_mutex>
#include <utility>

#include "Sinks.h"

namespace ziltrace {

namespace {

thread_local bool t_insideSink = false;

class SinkMark {
public:
    SinkMark() { t_insideSink = true; }
    ~SinkMark() { t_insideSink = false; }

    SinkMark(const SinkMark&) = delete;
    SinkMark& operator=(const SinkMark&) = delete;
};

} // namespace

void WriterPreferringMutex::reset() noexcept { m_lock = pthread_rwlock_t ZILTRACE_RWLOCK_INITIALIZER; }

SinkSwitch::SinkSwitch() : m_configured(makeStderrSink()) {}

void SinkSwitch::write(const ZilTraceControl::Record& record) {
    // Without this check, a sink that traces would call itself endlessly, or wait forever while another thread changes
    // the sink.
    if (t_insideSink) {
        return;
    }
    const std::shared_lock<WriterPreferringMutex> lock(m_mutex);
    const SinkMark mark;
    current().write(record);
}

void SinkSwitch::setConfigured(std::unique_ptr<ZilTraceControl::Sink> sink) {
    const std::lock_guard<WriterPreferringMutex> lock(m_mutex);
    m_configured.swap(sink);
}

ZilTraceControl::Sink* SinkSwitch::setOverride(ZilTraceControl::Sink* sink) {
    const std::lock_guard<WriterPreferringMutex> lock(m_mutex);
    return std::exchange(m_override, sink);
}

} // namespace ziltrace
