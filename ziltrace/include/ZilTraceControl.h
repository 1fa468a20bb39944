/* SPDX-License-Identifier: MIT */
/**
 * @file
 * Control of the trace channels of the process: their levels, and the sink of their messages.
 *
 * The library applies the environment variable ZILTRACE before any setting that a program makes with these functions.
 * The settings of the program therefore override the variable.
 *
 * You may call all functions from any number of threads at the same time, even while other threads trace. Do not call
 * the functions from Sink::write() or from a signal handler.
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
    Message /**< any message that is not an entry */
};

/** A message in the form that a sink receives. All pointers are valid only during Sink::write(). */
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

/** A receiver of messages. A program can define a sink, and use it instead of the configured sink. */
class ZILTRACE_EXPORT Sink {
public:
    virtual ~Sink();

    /**
     * Receives a message, in the thread that traces. Several threads may call this function at the same time. The
     * library ignores exceptions of this function, and drops messages that this function traces. The function must not
     * call the functions of this header, and must not fork.
     */
    virtual void write(const Record& record) = 0;
};

/** The state of a channel. */
struct ChannelState {
    std::string name;
    ZilTraceLevel constructedLevel; /**< the level that the channel was constructed with */
    ZilTraceLevel level;            /**< the current level of the channel */
};

/**
 * Adds `specification`, which has the syntax of the environment variable ZILTRACE, to the configuration. The items of
 * `specification` override earlier items. Settings that `specification` does not name stay unchanged.
 *
 * @param error receives the wrong item and the reason after a failure. The text stays unchanged after a success.
 * @return false if `specification` is malformed, or if the file of the sink cannot be opened. The configuration is then
 *         unchanged.
 */
ZILTRACE_EXPORT bool configure(const std::string& specification, std::string& error);

/**
 * Sets the level of all existing and later channels whose name matches `pattern`, like the item "pattern=level". In a
 * pattern, '*' matches any number of characters, and '?' matches exactly one character.
 *
 * @return false if `pattern` is empty, or if `level` is not from 0 to 7. The levels are then unchanged.
 */
ZILTRACE_EXPORT bool setLevel(const std::string& pattern, ZilTraceLevel level);

/**
 * Removes all configured levels, including the levels from the environment. Each channel then has the level that it was
 * constructed with.
 */
ZILTRACE_EXPORT void resetLevels();

/** Returns the existing channels, in the order of their construction. Channels with the same name appear separately. */
ZILTRACE_EXPORT std::vector<ChannelState> channels();

/**
 * Sends the messages of all channels to `sink`, or to the configured sink if `sink` is null. The caller keeps the
 * ownership of `sink`. The function waits until no thread uses the previous sink. You may then destroy the previous
 * sink. While you call this function, do not hold a lock that the previous sink takes.
 *
 * @return the previous sink; null if the configured sink received the messages.
 */
ZILTRACE_EXPORT Sink* setSink(Sink* sink);

} // namespace ZilTraceControl

#endif
