/* SPDX-License-Identifier: MIT */
/**
 * @file
 * Control of the trace channels of the process: their levels, and the sink of their messages.
 *
 * The environment variable ZILTRACE is applied before any setting that a program makes here. The settings of the
 * program therefore override it.
 *
 * Threads: you may call all functions from any number of threads at the same time, even while other threads trace. Do
 * not call them from Sink::write() or from a signal handler.
 */
#ifndef ZILTRACE_CONTROL_H
#define ZILTRACE_CONTROL_H

#include "ZilTrace.h"

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

namespace ZilTraceControl {

enum class Kind {
    Enter,  /**< entry into a function, with or without a text */
    Message /**< any other message */
};

/** A message as a sink receives it. All pointers are valid only during Sink::write(). */
struct Record {
    Kind kind;
    const char* channel;
    ZilTraceLevel level;          /**< the level of the message, not of the channel */
    ZilTraceHdrOption option;     /**< the header option of the channel */
    const ZilTraceHeader* header; /**< never null */
    const char* text;             /**< null for an entry without a text, never null for a message */
    std::chrono::system_clock::time_point time;
    std::int32_t threadId; /**< the kernel's identifier of the calling thread */
};

/** A sink of the program, which receives the messages instead of the configured sink. */
class ZILTRACE_EXPORT Sink {
public:
    virtual ~Sink();

    /**
     * Receives one message, in the thread that traces. Several threads may call it at the same time. Exceptions that it
     * throws are ignored, and messages that it traces itself are lost. It must not call the functions of this header,
     * and must not fork.
     */
    virtual void write(const Record& record) = 0;
};

/** The state of a channel. */
struct ChannelState {
    std::string name;
    ZilTraceLevel constructedLevel; /**< the level that it was constructed with */
    ZilTraceLevel level;            /**< the level that it has now */
};

/**
 * Adds `specification`, which has the syntax of the environment variable ZILTRACE, to the configuration. Its items
 * override earlier ones; settings that it does not name stay unchanged.
 *
 * @param error is set only on failure: it names the wrong item and the reason.
 * @return false if `specification` is malformed or its file cannot be opened; the configuration is then unchanged.
 */
ZILTRACE_EXPORT bool configure(const std::string& specification, std::string& error);

/**
 * Sets the level of all present and later channels whose name matches `pattern`, like the item "pattern=level". In a
 * pattern, '*' matches any number of characters, and '?' matches exactly one.
 *
 * @return false if `pattern` is empty or `level` is not from 0 to 7; no level is then changed.
 */
ZILTRACE_EXPORT bool setLevel(const std::string& pattern, ZilTraceLevel level);

/**
 * Removes all configured levels, including those of the environment. Each channel then has the level that it was
 * constructed with.
 */
ZILTRACE_EXPORT void resetLevels();

/** Returns the present channels, in the order of their construction. Channels with the same name appear separately. */
ZILTRACE_EXPORT std::vector<ChannelState> channels();

/**
 * Sends the messages of all channels to `sink`; to the configured sink if `sink` is null. The caller keeps the
 * ownership. The function returns when no thread uses the previous sink any more, so that you may destroy it. It waits
 * for such threads: do not hold a lock that the previous sink takes.
 *
 * @return the previous sink; null if messages were sent to the configured sink.
 */
ZILTRACE_EXPORT Sink* setSink(Sink* sink);

} // namespace ZilTraceControl

#endif
