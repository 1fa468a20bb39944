/* SPDX-License-Identifier: MIT */
/**
 * @file
 * Trace channels, which every traced class uses.
 *
 * Programs configure levels and sinks with the functions of ZilTraceControl.h. Users configure levels and sinks with
 * the environment variable ZILTRACE. The README of this library describes the variable.
 */
#ifndef ZILTRACE_H
#define ZILTRACE_H

#include <atomic>
#include <cstdint>
#include <memory>

#define ZILTRACE_EXPORT __attribute__((visibility("default")))

/** The level of a message, 0 to 7. A lower level is more severe. */
using ZilTraceLevel = int;

/**
 * The header option of a channel. Sinks receive the option unchanged. The option does not affect the layout of the
 * lines.
 */
using ZilTraceHdrOption = int;

/** The position of a trace point. Each trace point has its own constant header. A null pointer is written as "?". */
struct ZilTraceHeader {
    const char* file;     /**< path of the source file, in the form of `__FILE__` */
    std::int32_t line;    /**< line of the trace point */
    const char* function; /**< bare name of the function */
};

namespace ziltrace {
struct Channel;
}

/**
 * A trace channel, which has a name and a level.
 *
 * Call isEnabled() first. If the result is true, build the text and pass the text to a log function:
 *
 *     if (m_trace.isEnabled(6)) {
 *         m_trace.logEnterMsg(6, header, text.c_str());
 *     }
 *
 * The log functions write every message, and do not check the level. If a caller does not call isEnabled(), unexpected
 * messages in the trace show the error.
 *
 * Several channels may have the same name. A configuration for a name applies to all channels with the name.
 *
 * You may call all functions from any number of threads at the same time, even while the configuration changes. Do not
 * call the functions from signal handlers. You may construct channels during static initialization. You may destroy
 * channels in any order, until the end of the process.
 */
class ZILTRACE_EXPORT ZilTrace {
public:
    /**
     * Registers the channel. The constructor of the first channel reads the environment variable ZILTRACE, unless a
     * function of ZilTraceControl.h has already read the variable.
     *
     * @param channelName the name of the channel, not null. The constructor copies the name.
     * @param level the level of the channel while no configuration matches the name.
     * @param option the header option, which the sinks receive.
     */
    ZilTrace(const char* channelName, ZilTraceLevel level, ZilTraceHdrOption option);
    ~ZilTrace();

    ZilTrace(const ZilTrace&) = delete;
    ZilTrace& operator=(const ZilTrace&) = delete;

    /**
     * Returns whether messages of `level` are enabled. Costs one load and one comparison. A change of the configuration
     * by another thread takes effect soon, but at an undefined moment.
     */
    bool isEnabled(ZilTraceLevel level) const noexcept { return level <= m_level.load(std::memory_order_relaxed); }

    /**
     * Records the entry into the function that `header` names.
     *
     * Like all log functions, this function does not check the level of the channel, leaves `errno` unchanged, throws
     * nothing, and is not a thread cancellation point. A message that cannot be written is lost.
     */
    void logEnterMsg(ZilTraceLevel level, const ZilTraceHeader& header) noexcept;

    /** Records the entry with a text that describes the arguments. If `text` is null, the entry has no text. */
    void logEnterMsg(ZilTraceLevel level, const ZilTraceHeader& header, const char* text) noexcept;

    /** Records a message. If `text` is null, the message has an empty text. */
    void logMsg(ZilTraceLevel level, const ZilTraceHeader& header, const char* text) noexcept;

private:
    std::atomic<ZilTraceLevel> m_level;
    const std::unique_ptr<const ziltrace::Channel> m_channel;
};

#endif
