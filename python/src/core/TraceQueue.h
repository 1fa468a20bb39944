/* SPDX-License-Identifier: MIT */
/**
 * @file
 * A queue between the traces of the library and the Python functions that receive them.
 */
#ifndef RYNVEL_PYTHON_TRACEQUEUE_H
#define RYNVEL_PYTHON_TRACEQUEUE_H

#include <ZilTraceControl.h>

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <mutex>
#include <string>
#include <vector>

namespace RynvelPython {

/** A copy of a trace, which stays valid after the call that wrote the trace. */
struct Trace {
    std::string channel;
    int level;
    std::string text;
    std::string file;
    std::int32_t line;
    std::string function;
    bool isEntry;
    double time;
    std::int32_t thread;
};

/**
 * Collects the traces of the process while the queue is attached.
 *
 * The library calls a sink in the thread that traces, which may hold the mutex of a device. The sink therefore never
 * takes the GIL: it only stores a copy. The queue is a singleton that is never destroyed, because a thread may trace or
 * wait until the process ends.
 */
class TraceQueue final : public ZilTraceControl::Sink {
public:
    static TraceQueue& instance();

    /** Receives the traces of all channels in place of the configured sink. */
    void attach();
    void detach();

    void write(const ZilTraceControl::Record& record) override;

    /** Waits for a trace, or for wakeUp(), until the time-out. */
    void wait(std::chrono::milliseconds timeout);
    void wakeUp();
    /** Returns the traces since the last call. */
    std::vector<Trace> take();

    /** Returns the number of traces that did not fit in the queue. */
    std::uint64_t lost();

private:
    TraceQueue();

    static constexpr std::size_t capacity = 10000;

    struct State {
        std::mutex mutex;
        std::condition_variable changed;
        std::deque<Trace> traces;
        std::uint64_t lost = 0;
        bool isWokenUp = false;
    };

    /** The pointer changes only in a forked child. */
    State* m_state = new State;
};

} // namespace RynvelPython

#endif
