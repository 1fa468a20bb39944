#ifndef ZILTRACE_CONTROL_H
#define ZILTRACE_CONTROL_H

/// @file
/// Control of the trace channels of this process: levels and the place where messages go.
///
/// The environment variable ZILTRACE is applied before anything that is set here, so that a program's own settings
/// win over it.
///
/// Threads: all functions may be called by any number of threads at once and while others trace. None of them may be
/// called from Sink::write() or from a signal handler.

#include "ZilTrace.h"

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

namespace ZilTraceControl {

enum class Kind {
    Enter,  ///< entry into a function, with or without a text
    Message ///< any other message
};

/// A message on its way to a sink. All pointers are valid only during Sink::write().
struct Record {
    Kind kind;
    const char* channel;
    ZilTraceLevel level;          ///< level of the message, not of the channel
    ZilTraceHdrOption option;     ///< option that the channel was constructed with
    const ZilTraceHeader* header; ///< never null
    const char* text;             ///< null for an entry without a text, never null for a message
    std::chrono::system_clock::time_point time;
    std::int32_t threadId; ///< the kernel's id of the calling thread
};

/// Receives messages in place of the configured sink.
class ZILTRACE_EXPORT Sink {
public:
    virtual ~Sink();

    /// Takes one message, in the thread that traces, possibly in several threads at once. What it throws is swallowed.
    /// Messages that it traces itself are lost. It must not call functions of this header, and must not fork.
    virtual void write(const Record& record) = 0;
};

/// A channel as channels() found it.
struct ChannelState {
    std::string name;
    ZilTraceLevel constructedLevel; ///< level that it was constructed with
    ZilTraceLevel level;            ///< level that is in force
};

/// Applies `specification`, which has the syntax of the environment variable ZILTRACE, on top of what is configured:
/// its items win over earlier ones, and what it does not name stays.
///
/// @return false when `specification` is malformed or its file cannot be opened; then nothing has changed and
///         `error` says which item is wrong and why. `error` is left alone otherwise.
ZILTRACE_EXPORT bool configure(const std::string& specification, std::string& error);

/// Sets the level of all channels, present and future, whose name matches `pattern` ('*' for any characters, '?' for
/// one), as the item "pattern=level" would.
///
/// @return false, with nothing changed, when `pattern` is empty or `level` is not in 0 to 7
ZILTRACE_EXPORT bool setLevel(const std::string& pattern, ZilTraceLevel level);

/// Forgets all configured levels, those of the environment too: each channel is back at the level of its construction.
ZILTRACE_EXPORT void resetLevels();

/// Lists the channels that exist now, in the order of their construction. Channels of one name are listed one by one.
ZILTRACE_EXPORT std::vector<ChannelState> channels();

/// Sends the messages of all channels to `sink`, or back to the configured sink when `sink` is null. The caller keeps
/// the ownership. When it returns, no thread is inside the previous sink any more, nor will be: it may be destroyed.
/// It waits for such threads, so the caller must not hold a lock that the previous sink takes.
///
/// @return the previous sink of this function, null when messages went to the configured one
ZILTRACE_EXPORT Sink* setSink(Sink* sink);

} // namespace ZilTraceControl

#endif
