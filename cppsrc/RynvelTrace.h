/* SPDX-License-Identifier: MIT */
#ifndef RYNVEL_TRACE_H
#define RYNVEL_TRACE_H

#include "rynvel/HexU32Struct.h"

#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "TracePoint.h"

namespace Rynvel {

/**
 * Returns the lower 32 bits of a number or a pointer. A stream writes the result with two hexadecimal digits for each
 * byte of an unsigned `T`, at most 8 digits.
 */
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

// The following macros are trace points of a class with the channel `m_trace`.

/** Records the entry into an operation. The text contains each argument as "name=value". */
#define RYNVEL_ENTER(...) RYNVEL_TRACE_ENTRY(m_trace, ::Rynvel::TraceLevel::entry, __VA_ARGS__)

/** Records the entry into an operation that programs call at a high rate. */
#define RYNVEL_ENTER_HIGH_RATE(...) RYNVEL_TRACE_ENTRY(m_trace, ::Rynvel::TraceLevel::highRate, __VA_ARGS__)

/** Records a message with the given header. The text is the concatenation of the arguments after `level`. */
#define RYNVEL_MESSAGE_AT(header, level, ...) RYNVEL_TRACE_MESSAGE_AT(m_trace, header, level, __VA_ARGS__)

/** Records a message. The text is the concatenation of the arguments after `level`. */
#define RYNVEL_MESSAGE(level, ...) RYNVEL_TRACE_MESSAGE(m_trace, level, __VA_ARGS__)

#endif
