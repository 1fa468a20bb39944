/* SPDX-License-Identifier: MIT */
#ifndef RYNVEL_TESTS_TRACERECORDER_H
#define RYNVEL_TESTS_TRACERECORDER_H

#include <ZilTraceControl.h>

#include <atomic>
#include <string>
#include <vector>

#include "EventLog.h"

namespace RynvelTest {

/** A lock that makes no mutex calls, so that a test that scripts mutex calls records only the calls of the library. */
class SpinLock {
public:
    void lock() {
        while (m_taken.test_and_set(std::memory_order_acquire)) {
        }
    }
    void unlock() { m_taken.clear(std::memory_order_release); }

private:
    std::atomic_flag m_taken = ATOMIC_FLAG_INIT;
};

/** A message that the tracing library received. */
struct RecordedTrace {
    ZilTraceControl::Kind kind;
    std::string channel;
    ZilTraceLevel level;
    ZilTraceHdrOption option;
    std::string file;
    std::int32_t line;
    std::string function;
    bool hasText;
    std::string text;
};

/**
 * A trace sink for the messages of all channels. The sink appends each message to the event log, if there is one, in
 * one of the forms "CHANNEL LEVEL FUNCTION ENTER", "CHANNEL LEVEL FUNCTION ENTER TEXT" or "CHANNEL LEVEL FUNCTION:
 * TEXT".
 */
class TraceRecorder : public ZilTraceControl::Sink {
public:
    /** Enables the channels that match the pattern, up to the level, and disables all other channels. */
    TraceRecorder(ZilTraceLevel level, const std::string& pattern = "*", EventLog* log = nullptr);
    TraceRecorder(const TraceRecorder&) = delete;
    TraceRecorder& operator=(const TraceRecorder&) = delete;
    ~TraceRecorder() override;

    void write(const ZilTraceControl::Record& record) override;

    std::vector<RecordedTrace> traces() const;
    EventLog lines() const;
    void clear();

private:
    mutable SpinLock m_lock;
    std::vector<RecordedTrace> m_traces;
    EventLog* const m_log;
    ZilTraceControl::Sink* const m_previous;
};

} // namespace RynvelTest

#endif
