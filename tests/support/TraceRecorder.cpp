// SPDX-License-Identifier: MIT
#include "TraceRecorder.h"

#include <algorithm>
#include <iterator>
#include <mutex>

namespace RynvelTest {

namespace {

std::string lineOf(const RecordedTrace& trace) {
    std::string line = trace.channel + ' ' + std::to_string(trace.level) + ' ' + trace.function;
    if (trace.kind == ZilTraceControl::Kind::Message) {
        return line + ": " + trace.text;
    }
    return line + " ENTER" + (trace.hasText ? ' ' + trace.text : "");
}

} // namespace

TraceRecorder::TraceRecorder(ZilTraceLevel level, const std::string& pattern, EventLog* log)
    : m_log(log), m_previous(ZilTraceControl::setSink(this)) {
    ZilTraceControl::setLevel("*", 0);
    ZilTraceControl::setLevel(pattern, level);
}

TraceRecorder::~TraceRecorder() {
    ZilTraceControl::resetLevels();
    ZilTraceControl::setSink(m_previous);
}

void TraceRecorder::write(const ZilTraceControl::Record& record) {
    const std::lock_guard<SpinLock> lock(m_lock);
    m_traces.push_back({record.kind, record.channel, record.level, record.option, record.header->file,
                        record.header->line, record.header->function, record.text != nullptr,
                        record.text != nullptr ? record.text : ""});
    if (m_log != nullptr) {
        m_log->push_back(lineOf(m_traces.back()));
    }
}

std::vector<RecordedTrace> TraceRecorder::traces() const {
    const std::lock_guard<SpinLock> lock(m_lock);
    return m_traces;
}

EventLog TraceRecorder::lines() const {
    const std::lock_guard<SpinLock> lock(m_lock);
    EventLog lines;
    std::transform(m_traces.begin(), m_traces.end(), std::back_inserter(lines), lineOf);
    return lines;
}

void TraceRecorder::clear() {
    const std::lock_guard<SpinLock> lock(m_lock);
    m_traces.clear();
}

} // namespace RynvelTest
