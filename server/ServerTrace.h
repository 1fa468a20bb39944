/* SPDX-License-Identifier: MIT */
/**
 * @file
 * The trace channel of the server, "Rynveld". Its levels are:
 *
 * - 1: failures of the server and of its devices, and connections that the server refuses
 * - 3: clients that the server disconnects, and devices that it cannot open
 * - 4: refused requests
 * - 5: connections
 */
#ifndef RYNVELD_SERVERTRACE_H
#define RYNVELD_SERVERTRACE_H

#include "TraceLimit.h"
#include "TracePoint.h"

namespace Rynveld {

extern ZilTrace serverTrace;

} // namespace Rynveld

/** Traces a message of several values, which may have any type that a stream can write. */
#define RYNVELD_TRACE(level, ...) RYNVEL_TRACE_MESSAGE(::Rynveld::serverTrace, ::Rynvel::TraceLevel::level, __VA_ARGS__)

/** Like RYNVELD_TRACE, for messages that a client causes. Limits the number of lines per host and cause. */
#define RYNVELD_TRACE_LIMITED(peer, level, cause, ...)                                                                 \
    do {                                                                                                               \
        if (::Rynveld::serverTrace.isEnabled(::Rynvel::TraceLevel::level)) {                                           \
            if (const auto suffix = (peer).limit.admit((peer).host, cause)) {                                          \
                RYNVELD_TRACE(level, __VA_ARGS__, *suffix);                                                            \
            }                                                                                                          \
        }                                                                                                              \
    } while (false)

#endif
