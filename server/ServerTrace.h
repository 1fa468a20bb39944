/**
 * @file
 * The server's trace channel, "Rynveld": failures of the server and its devices and clients that are turned away at
 * level 1, clients that are hung up on and devices that cannot be opened at level 3, refused requests at level 4,
 * connections at level 5.
 */
#ifndef RYNVELD_SERVERTRACE_H
#define RYNVELD_SERVERTRACE_H

#include "TraceLimit.h"
#include "TracePoint.h"

namespace Rynveld {

extern ZilTrace serverTrace;

} // namespace Rynveld

/** A message made of pieces that a stream can write. */
#define RYNVELD_TRACE(level, ...) RYNVEL_TRACE_MESSAGE(::Rynveld::serverTrace, ::Rynvel::TraceLevel::level, __VA_ARGS__)

/** The same on what a client does: its host may cause so many lines of a kind. */
#define RYNVELD_TRACE_OF(peer, level, cause, ...)                                                                      \
    do {                                                                                                               \
        if (::Rynveld::serverTrace.isEnabled(::Rynvel::TraceLevel::level)) {                                           \
            if (const auto ending = (peer).limit.admit((peer).host, cause)) {                                          \
                RYNVELD_TRACE(level, __VA_ARGS__, *ending);                                                            \
            }                                                                                                          \
        }                                                                                                              \
    } while (false)

#endif
