/**
 * @file
 * Trace points: what a message or the entry into an operation costs nothing for while its level is off. The macros take
 * the channel; a part of the project that has one channel gives them shorter names.
 *
 * The texts are built, and their arguments evaluated, only when the channel has the level enabled; errno is kept.
 */
#ifndef RYNVEL_BASE_TRACEPOINT_H
#define RYNVEL_BASE_TRACEPOINT_H

#include <cerrno>
#include <sstream>
#include <string>
#include <string_view>

#include <ZilTrace.h>

namespace Rynvel {

namespace TraceLevel {
constexpr ZilTraceLevel failure = 1;
constexpr ZilTraceLevel unreachable = 2;
constexpr ZilTraceLevel outcome = 3;
constexpr ZilTraceLevel life = 4;
constexpr ZilTraceLevel detail = 5;
constexpr ZilTraceLevel entry = 6;
constexpr ZilTraceLevel highRate = 7;
} // namespace TraceLevel

constexpr ZilTraceLevel channelLevel = TraceLevel::outcome;
constexpr ZilTraceHdrOption channelHeaderOption = 256;

class ErrnoSaver {
public:
    ErrnoSaver() = default;
    ErrnoSaver(const ErrnoSaver&) = delete;
    ErrnoSaver& operator=(const ErrnoSaver&) = delete;
    ~ErrnoSaver() { errno = m_errno; }

private:
    const int m_errno = errno;
};

/** Splits the source text of a macro's arguments into the text of each. */
class ArgumentNames {
public:
    explicit ArgumentNames(std::string_view names);
    std::string_view next();

private:
    std::string_view m_rest;
};

/** The stream of a trace text: the program's global locale does not reach it. */
class TraceText {
public:
    TraceText();

    template <typename... Pieces>
    [[gnu::cold]] std::string join(const Pieces&... pieces) {
        (m_stream << ... << pieces);
        return m_stream.str();
    }

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

/** Records the entry into an operation whose channel has the level enabled. Keeps errno. */
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
    // Takes all that it needs, so that the operation has to make no object.
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

/** Records a message on a channel that has the level enabled. The object is made before the message's pieces. */
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

/** The header of an operation whose trace points lie in code that it shares with others; that code is handed it. */
#define RYNVEL_TRACE_POINT(name) RYNVEL_TRACE_POINT_OF(name, __func__)

/** The same in code that serves another function, whose name is given. */
#define RYNVEL_TRACE_POINT_OF(name, function) static constexpr ZilTraceHeader name = RYNVEL_TRACE_HEADER(function)

/** Entry of an operation; the arguments are written as name=value. */
#define RYNVEL_TRACE_ENTRY(channel, level, ...)                                                                        \
    do {                                                                                                               \
        if ((channel).isEnabled(level)) {                                                                              \
            RYNVEL_TRACE_POINT(traceHeader);                                                                           \
            ::Rynvel::EntryTrace(channel, level, traceHeader, #__VA_ARGS__).log(__VA_ARGS__);                          \
        }                                                                                                              \
    } while (false)

/** A message of the operation with the given header, made of pieces that a stream can write. */
#define RYNVEL_TRACE_MESSAGE_AT(channel, header, level, ...)                                                           \
    do {                                                                                                               \
        if ((channel).isEnabled(level)) {                                                                              \
            const ::Rynvel::MessageTrace messageTrace(channel, level, header);                                         \
            messageTrace.log(__VA_ARGS__);                                                                             \
        }                                                                                                              \
    } while (false)

/** A message, made of pieces that a stream can write. */
#define RYNVEL_TRACE_MESSAGE(channel, level, ...)                                                                      \
    do {                                                                                                               \
        RYNVEL_TRACE_POINT(traceHeader);                                                                               \
        RYNVEL_TRACE_MESSAGE_AT(channel, traceHeader, level, __VA_ARGS__);                                             \
    } while (false)

#endif
