#ifndef RYNVEL_TRACE_H
#define RYNVEL_TRACE_H

#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "TracePoint.h"
#include "rynvel/HexU32Struct.h"

namespace Rynvel {

template <typename T>
HexU32Struct Hex(T value) {
    constexpr std::size_t valueBytes = sizeof(T) < sizeof(std::uint32_t) ? sizeof(T) : sizeof(std::uint32_t);
    if constexpr (std::is_pointer_v<T>) {
        return Hex(reinterpret_cast<std::uintptr_t>(value));
    } else {
        return {static_cast<std::uint32_t>(value), 2 * valueBytes};
    }
}

} // namespace Rynvel

// The trace points of an operation, on the channel m_trace of its class.

/** Entry of an operation; the arguments are written as name=value. */
#define RYNVEL_ENTER(...) RYNVEL_TRACE_ENTRY(m_trace, ::Rynvel::TraceLevel::entry, __VA_ARGS__)

/** Entry of a high-rate operation. */
#define RYNVEL_ENTER_HIGH_RATE(...) RYNVEL_TRACE_ENTRY(m_trace, ::Rynvel::TraceLevel::highRate, __VA_ARGS__)

/** A message of the operation with the given header, made of pieces that a stream can write. */
#define RYNVEL_MESSAGE_AT(header, level, ...) RYNVEL_TRACE_MESSAGE_AT(m_trace, header, level, __VA_ARGS__)

/** A message, made of pieces that a stream can write. */
#define RYNVEL_MESSAGE(level, ...) RYNVEL_TRACE_MESSAGE(m_trace, level, __VA_ARGS__)

#endif
