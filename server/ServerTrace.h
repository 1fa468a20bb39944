/* SPDX-License-Identifier: MIT */
/**
 * @file
 * The server's trace channel, "Rynveld". Level 1: failures of the server and of its devices, and clients that are
 * turned away. Level 3: clients that the server disconnects, and devices that cannot be opened. Level 4: refused
 * requests. Level 5: connections.
 */
#ifndef RYNVELD_SERVERTRACE_H
#define RYNVELD_SERVERTRACE_H

#include "TraceLimit.h"
#include "TracePoint.h"

namespace Rynveld {

extern ZilTrace serverTrace;

} // namespace Rynveld

/** Traces a message. Its pieces are any values that a stream can write. */
#define RYNVELD_TRACE(level, ...) RYNVEL_TRACE_MESSAGE(::Rynveld::serverTrace, ::Rynvel::TraceLevel::level, __VA_ARGS__)

/** Like RYNVELD_TRACE, for messages that a client causes: the number of lines per host and cause is limited. */
#define RYNVELD_TRACE_LIMITED(peer, level, cause, ...)                                                                 \
    do {                                                                                                               \
        if (::Rynveld::serverTrace.isEnabled(::Rynvel::TraceLevel::level)) {                                           \
            if (const auto suffix = (peer).limit.admit((peer).host, cause)) {                                          \
                RYNVELD_TRACE(level, __VA_ARGS__, *suffix);                                                            \
            }                                                                                                          \
        }                                                                                                              \
    } while (false)

#endif
