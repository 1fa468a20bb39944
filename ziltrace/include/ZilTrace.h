/* SPDX-License-Identifier: MIT */
/**
 * @file
 * Trace channels: the part of the tracing library that every traced class uses.
 *
 * Levels and sinks are configured at run time, with the functions of ZilTraceControl.h or with the environment variable
 * ZILTRACE. The README of this library describes the variable.
 */
#ifndef ZILTRACE_H
#define ZILTRACE_H

#include <atomic>
#include <cstdint>
#include <memory>

#define ZILTRACE_EXPORT __attribute__((visibility("default")))

/** The level of a message, 0 to 7. A lower level is more severe. */
using ZilTraceLevel = int;

/** The header option of a channel. It is passed to the sinks unchanged, and does not affect the layout of the lines. */
using ZilTraceHdrOption = int;

/** Names a trace point. Each trace point has a constant header of its own. A null pointer is written as "?". */
struct ZilTraceHeader {
    const char* file;     /**< path of the source file, as the compiler received it */
    std::int32_t line;    /**< line of the trace point */
    const char* function; /**< bare name of the function */
};

namespace ziltrace {
struct Channel;
}

/**
 * A named trace channel with a level of its own.
 *
 * Call isEnabled() first. Only if it returns true, build the text and pass it to a log function:
 *
 *     if (m_trace.isEnabled(6)) {
 *         m_trace.logEnterMsg(6, header, text.c_str());
 *     }
 *
 * The caller filters messages: the log functions write every message that they get, so that a caller that does not call
 * isEnabled() is visible in the trace.
 *
 * Several channels may have the same name. A configuration for a name applies to all of them.
 *
 * Threads: you may call all functions from any number of threads at the same time, even while the configuration
 * changes, but not from signal handlers. You may construct channels during static initialisation, and destroy them in
 * any order, up to the end of the process.
 */
class ZILTRACE_EXPORT ZilTrace {
public:
    /**
     * Registers the channel. The construction of the first channel reads the environment variable ZILTRACE.
     *
     * @param channelName the name of the channel, which is copied; not null.
     * @param level the level of the channel, unless a present or later configuration matches its name.
     * @param option is passed to the sinks.
     */
    ZilTrace(const char* channelName, ZilTraceLevel level, ZilTraceHdrOption option);
    ~ZilTrace();

    ZilTrace(const ZilTrace&) = delete;
    ZilTrace& operator=(const ZilTrace&) = delete;

    /**
     * Returns whether messages of `level` are enabled. Costs one load and one comparison. Other threads see a change of
     * the configuration soon, but at no defined moment.
     */
    bool isEnabled(ZilTraceLevel level) const noexcept { return level <= m_level.load(std::memory_order_relaxed); }

    /**
     * Records the entry into the function that `header` names.
     *
     * Like all log functions, it does not check the level of the channel, keeps `errno`, throws nothing, and is not a
     * thread cancellation point. A message that cannot be written is lost.
     */
    void logEnterMsg(ZilTraceLevel level, const ZilTraceHeader& header) noexcept;

    /** Records the entry and the text of the arguments. A null `text` means no text. */
    void logEnterMsg(ZilTraceLevel level, const ZilTraceHeader& header, const char* text) noexcept;

    /** Records a message. A null `text` means an empty text. */
    void logMsg(ZilTraceLevel level, const ZilTraceHeader& header, const char* text) noexcept;

private:
    std::atomic<ZilTraceLevel> m_level;
    const std::unique_ptr<const ziltrace::Channel> m_channel;
};

#endif
