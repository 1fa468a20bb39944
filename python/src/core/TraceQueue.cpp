// SPDX-License-Identifier: MIT
#include "TraceQueue.h"

#include <new>
#include <utility>

#include <pthread.h>

namespace RynvelPython {

TraceQueue& TraceQueue::instance() {
    static TraceQueue& queue = *new TraceQueue;
    return queue;
}

// In a forked child, the threads that held the mutex or waited do not exist.
TraceQueue::TraceQueue() {
    pthread_atfork([] { instance().m_mutex.lock(); }, [] { instance().m_mutex.unlock(); },
                   [] {
                       TraceQueue& queue = instance();
                       new (&queue.m_changed) std::condition_variable;
                       queue.m_traces.clear();
                       queue.m_mutex.unlock();
                   });
}

void TraceQueue::attach() { ZilTraceControl::setSink(this); }

void TraceQueue::detach() { ZilTraceControl::setSink(nullptr); }

void TraceQueue::write(const ZilTraceControl::Record& record) {
    const ZilTraceHeader& header = *record.header;
    const std::chrono::duration<double> time = record.time.time_since_epoch();
    const auto text = [](const char* characters) { return std::string(characters == nullptr ? "" : characters); };
    Trace trace{record.channel,
                record.level,
                text(record.text),
                text(header.file),
                header.line,
                text(header.function),
                record.kind == ZilTraceControl::Kind::Enter,
                time.count(),
                record.threadId};
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (m_traces.size() == capacity) {
        ++m_lost;
        return;
    }
    m_traces.push_back(std::move(trace));
    m_changed.notify_all();
}

void TraceQueue::wait(std::chrono::milliseconds timeout) {
    std::unique_lock<std::mutex> lock(m_mutex);
    m_changed.wait_for(lock, timeout, [this] { return !m_traces.empty() || m_isWokenUp; });
    m_isWokenUp = false;
}

std::vector<Trace> TraceQueue::take() {
    const std::lock_guard<std::mutex> lock(m_mutex);
    std::vector<Trace> traces(std::make_move_iterator(m_traces.begin()), std::make_move_iterator(m_traces.end()));
    m_traces.clear();
    return traces;
}

void TraceQueue::wakeUp() {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_isWokenUp = true;
    m_changed.notify_all();
}

std::uint64_t TraceQueue::lost() {
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_lost;
}

} // namespace RynvelPython
