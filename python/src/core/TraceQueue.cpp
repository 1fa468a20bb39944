// SPDX-License-Identifier: MIT
#include "TraceQueue.h"

#include <utility>

#include <pthread.h>

namespace RynvelPython {

TraceQueue& TraceQueue::instance() {
    static TraceQueue& queue = *new TraceQueue;
    return queue;
}

// A forked child gets a new state, because the threads that held the mutex or waited do not exist in the child.
TraceQueue::TraceQueue() {
    pthread_atfork(nullptr, nullptr, [] { instance().m_state = new State; });
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
    State& state = *m_state;
    const std::lock_guard<std::mutex> lock(state.mutex);
    if (state.traces.size() == capacity) {
        ++state.lost;
        return;
    }
    state.traces.push_back(std::move(trace));
    state.changed.notify_all();
}

void TraceQueue::wait(std::chrono::milliseconds timeout) {
    State& state = *m_state;
    std::unique_lock<std::mutex> lock(state.mutex);
    state.changed.wait_for(lock, timeout, [&state] { return !state.traces.empty() || state.isWokenUp; });
    state.isWokenUp = false;
}

std::vector<Trace> TraceQueue::take() {
    State& state = *m_state;
    const std::lock_guard<std::mutex> lock(state.mutex);
    std::vector<Trace> traces(std::make_move_iterator(state.traces.begin()),
                              std::make_move_iterator(state.traces.end()));
    state.traces.clear();
    return traces;
}

void TraceQueue::wakeUp() {
    State& state = *m_state;
    const std::lock_guard<std::mutex> lock(state.mutex);
    state.isWokenUp = true;
    state.changed.notify_all();
}

std::uint64_t TraceQueue::lost() {
    State& state = *m_state;
    const std::lock_guard<std::mutex> lock(state.mutex);
    return state.lost;
}

} // namespace RynvelPython
