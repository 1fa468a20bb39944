#include "SinkSwitch.h"

#include "Sinks.h"

#include <mutex>
#include <shared_mutex>
#include <utility>

namespace ziltrace {

namespace {

thread_local bool t_insideSink = false;

class InsideSink {
public:
    InsideSink() { t_insideSink = true; }
    ~InsideSink() { t_insideSink = false; }

    InsideSink(const InsideSink&) = delete;
    InsideSink& operator=(const InsideSink&) = delete;
};

} // namespace

void WriterFirstMutex::reset() noexcept { m_lock = pthread_rwlock_t PTHREAD_RWLOCK_WRITER_NONRECURSIVE_INITIALIZER_NP; }

SinkSwitch::SinkSwitch() : m_configured(makeStderrSink()) {}

void SinkSwitch::write(const ZilTraceControl::Record& record) {
    // A sink that traces would call itself without end, and wait for itself when a change is pending.
    if (t_insideSink) {
        return;
    }
    const std::shared_lock<WriterFirstMutex> lock(m_mutex);
    const InsideSink mark;
    current().write(record);
}

void SinkSwitch::setConfigured(std::unique_ptr<ZilTraceControl::Sink> sink) {
    const std::lock_guard<WriterFirstMutex> lock(m_mutex);
    m_configured.swap(sink);
}

ZilTraceControl::Sink* SinkSwitch::setOverride(ZilTraceControl::Sink* sink) {
    const std::lock_guard<WriterFirstMutex> lock(m_mutex);
    return std::exchange(m_override, sink);
}

} // namespace ziltrace
