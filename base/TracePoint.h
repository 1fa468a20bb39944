/* SPDX-License-Identifier: MIT */
/**
 * @file
 * Trace points. A trace point records a message, or the entry into an operation, on a trace channel.
 *
 * A trace point evaluates its arguments and builds its text only if its level is enabled on the channel. A trace point
 * leaves `errno` unchanged. The macros take the channel as an argument. Code that uses a single channel can define
 * shorter macros.
 */
#ifndef RYNVEL_BASE_TRACEPOINT_H
#define RYNVEL_BASE_TRACEPOINT_H

#include <ZilTrace.h>

#include <cerrno>
#include <sstream>
#include <string>
#include <string_view>

namespace Rynvel {

/** The levels of the library and the server. A lower level is more severe. */
namespace TraceLevel {
constexpr ZilTraceLevel failure = 1;     /**< operations that fail */
constexpr ZilTraceLevel unreachable = 2; /**< devices and servers that cannot be reached */
constexpr ZilTraceLevel outcome = 3;     /**< notable outcomes */
constexpr ZilTraceLevel life = 4;        /**< creation of devices, and refused requests */
constexpr ZilTraceLevel detail = 5;      /**< details of an operation */
constexpr ZilTraceLevel entry = 6;       /**< entries into operations */
constexpr ZilTraceLevel highRate = 7;    /**< operations that programs call at a high rate, and locks */
} // namespace TraceLevel

/** The level of a channel unless the configuration sets another level. */
constexpr ZilTraceLevel channelLevel = TraceLevel::outcome;
/** The header option of every channel. */
constexpr ZilTraceHdrOption channelHeaderOption = 256;

/** A scope that restores `errno` at its end. */
class ErrnoSaver {
public:
    ErrnoSaver() = default;
    ErrnoSaver(const ErrnoSaver&) = delete;
    ErrnoSaver& operator=(const ErrnoSaver&) = delete;
    ~ErrnoSaver() { errno = m_errno; }

private:
    const int m_errno = errno;
};

/** Splits the source text of a macro's arguments. */
class ArgumentNames {
public:
    explicit ArgumentNames(std::string_view names);
    /** Returns the source text of the next argument; an empty text after the last argument. */
    std::string_view next();

private:
    std::string_view m_rest;
};

/** A builder of trace texts. The global locale of the program does not affect the texts. */
class TraceText {
public:
    TraceText();

    /** Returns the concatenation of the pieces. */
    template <typename... Pieces>
    [[gnu::cold]] std::string join(const Pieces&... pieces) {
        (m_stream << ... << pieces);
        return m_stream.str();
    }

    /** Returns the arguments as "name=value", separated by commas. */
    template <typename... Values>
    [[gnu::cold]] std::string joinArguments(const char* names, const Values&... values) {
        ArgumentNames argumentNames(names);
        const char* separator = "";
        ((m_stream << separator << argumentNames.next() << '=' << values, separator = ", "), ...);
        return m_stream.str();
    }

private:
    std::ostringstream m_stream;
};

/** A trace of the entry into an operation. The level must be enabled on the channel. log() leaves `errno` unchanged. */
class EntryTrace {
public:
    EntryTrace(ZilTrace& channel, ZilTraceLevel level, const ZilTraceHeader& header, const char* names)
        : m_channel(channel), m_level(level), m_header(header), m_names(names) {}

    [[gnu::always_inline]] void log() const { record(m_channel, m_level, m_header); }

    template <typename... Values>
    [[gnu::always_inline]] void log(const Values&... values) const {
        record(m_channel, m_level, m_header, m_names, values...);
    }

private:
    // These functions are static, so that the compiler need not create the object in the traced operation.
    [[gnu::cold]] static void record(ZilTrace& channel, ZilTraceLevel level, const ZilTraceHeader& header);

    template <typename... Values>
    [[gnu::cold, gnu::noinline]] static void record(ZilTrace& channel, ZilTraceLevel level,
                                                    const ZilTraceHeader& header, const char* names,
                                                    const Values&... values) {
        const ErrnoSaver errnoSaver;
        channel.logEnterMsg(level, header, TraceText().joinArguments(names, values...).c_str());
    }

    ZilTrace& m_channel;
    const ZilTraceLevel m_level;
    const ZilTraceHeader& m_header;
    const char* const m_names;
};

/**
 * A trace of a message. The level must be enabled on the channel. The destructor restores the value that `errno` had
 * when the object was created, so create the object before the arguments of log() are evaluated.
 */
class MessageTrace {
public:
    MessageTrace(ZilTrace& channel, ZilTraceLevel level, const ZilTraceHeader& header);

    template <typename... Pieces>
    [[gnu::cold, gnu::noinline]] void log(const Pieces&... pieces) const {
        m_channel.logMsg(m_level, m_header, TraceText().join(pieces...).c_str());
    }

private:
    const ErrnoSaver m_errnoSaver;
    ZilTrace& m_channel;
    const ZilTraceLevel m_level;
    const ZilTraceHeader& m_header;
};

} // namespace Rynvel

#define RYNVEL_TRACE_HEADER(function)                                                                                  \
    { __FILE__, __LINE__, function }

/** Defines a header that names the enclosing function. Pass the header to a function that traces for its caller. */
#define RYNVEL_TRACE_POINT(name) RYNVEL_TRACE_POINT_OF(name, __func__)

/** Defines a header that names `function` instead of the enclosing function. */
#define RYNVEL_TRACE_POINT_OF(name, function) static constexpr ZilTraceHeader name = RYNVEL_TRACE_HEADER(function)

/** Records the entry into an operation. The text contains each argument as "name=value". */
#define RYNVEL_TRACE_ENTRY(channel, level, ...)                                                                        \
    do {                                                                                                               \
        if ((channel).isEnabled(level)) {                                                                              \
            RYNVEL_TRACE_POINT(traceHeader);                                                                           \
            ::Rynvel::EntryTrace(channel, level, traceHeader, #__VA_ARGS__).log(__VA_ARGS__);                          \
        }                                                                                                              \
    } while (false)

/** Records a message with the given header. The text is the concatenation of the arguments after `level`. */
#define RYNVEL_TRACE_MESSAGE_AT(channel, header, level, ...)                                                           \
    do {                                                                                                               \
        if ((channel).isEnabled(level)) {                                                                              \
            const ::Rynvel::MessageTrace messageTrace(channel, level, header);                                         \
            messageTrace.log(__VA_ARGS__);                                                                             \
        }                                                                                                              \
    } while (false)

/** Records a message. The text is the concatenation of the arguments after `level`. */
#define RYNVEL_TRACE_MESSAGE(channel, level, ...)                                                                      \
    do {                                                                                                               \
        RYNVEL_TRACE_POINT(traceHeader);                                                                               \
        RYNVEL_TRACE_MESSAGE_AT(channel, traceHeader, level, __VA_ARGS__);                                             \
    } while (false)

#endif
