#ifndef ZILTRACE_H
#define ZILTRACE_H

/// @file
/// Trace channels: the part of the tracing library that every traced class uses.
/// Where messages go and which levels are on is set at run time: see ZilTraceControl.h and the environment variable
/// ZILTRACE, described in the README of this library.

#include <atomic>
#include <cstdint>
#include <memory>

#define ZILTRACE_EXPORT __attribute__((visibility("default")))

/// Severity of a message, 0 to 7; a lower value is more severe.
using ZilTraceLevel = int;

/// Option for the message header, handed on to sinks as it is. The line layout is the same for all options.
using ZilTraceHdrOption = int;

/// Names a trace point. Each trace point has its own constant header.
/// A null pointer in `file` or `function` is shown as "?".
struct ZilTraceHeader {
    const char* file;     ///< path of the source file as the build knows it
    std::int32_t line;    ///< line of the trace point
    const char* function; ///< bare name of the function
};

namespace ziltrace {
struct Channel;
}

/// A named trace channel with a level of its own.
///
/// A caller asks isEnabled() and only then builds a text and hands it to a log operation:
///
///     if (m_trace.isEnabled(6)) {
///         m_trace.logEnterMsg(6, header, text.c_str());
///     }
///
/// Filtering is the caller's: the log operations write whatever they are given, so that a caller that forgets to ask
/// is seen in the trace.
///
/// Several channels may have the same name; whatever is configured for the name holds for all of them.
///
/// Threads: all operations may be called by any number of threads at once, also while the configuration changes, but
/// not from signal handlers. Construction must be over before the first use, and the last use before destruction.
/// Channels may be constructed during static initialisation and destroyed in any order, up to the end of the process.
class ZILTRACE_EXPORT ZilTrace {
public:
    /// Makes the channel known under `channelName` (copied, not null). `level` holds until a configuration names the
    /// channel; a configuration that is already there holds at once. Construction of the first channel reads the
    /// environment variable ZILTRACE.
    ZilTrace(const char* channelName, ZilTraceLevel level, ZilTraceHdrOption option);
    ~ZilTrace();

    ZilTrace(const ZilTrace&) = delete;
    ZilTrace& operator=(const ZilTrace&) = delete;

    /// Tells whether messages of `level` are wanted. Costs one load and one comparison. A change of the configuration
    /// is seen by other threads soon, but not at a defined moment.
    bool isEnabled(ZilTraceLevel level) const noexcept { return level <= m_level.load(std::memory_order_relaxed); }

    /// Records the entry into the function that `header` names.
    ///
    /// As all log operations, it does not look at the channel's level, keeps errno, throws nothing, is no thread
    /// cancellation point, and loses the message when it cannot be written.
    void logEnterMsg(ZilTraceLevel level, const ZilTraceHeader& header) noexcept;

    /// Records the entry together with the text of the arguments. A null `text` is as none.
    void logEnterMsg(ZilTraceLevel level, const ZilTraceHeader& header, const char* text) noexcept;

    /// Records a message. A null `text` is as an empty one.
    void logMsg(ZilTraceLevel level, const ZilTraceHeader& header, const char* text) noexcept;

private:
    std::atomic<ZilTraceLevel> m_level;
    const std::unique_ptr<const ziltrace::Channel> m_channel;
};

#endif
