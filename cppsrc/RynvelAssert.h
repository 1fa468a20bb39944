/* SPDX-License-Identifier: MIT */
#ifndef RYNVEL_ASSERT_H
#define RYNVEL_ASSERT_H

#include <cassert>

#ifdef NDEBUG
#error "the assertions of the library are part of its contract (compile the library without NDEBUG)"
#endif

namespace Rynvel {

template <typename Line>
Line lineParameterOf(void (*)(const char*, const char*, Line, const char*));

/** The type of the line number in __assert_fail(): unsigned int in the GNU C library, int in other C libraries. */
using AssertionLine = decltype(lineParameterOf(__assert_fail));

/** Fails a standard assertion, whose message contains the given source file, line and function. */
[[noreturn]] inline void failAssertionAt(const char* expression, const char* file, unsigned int line,
                                         const char* function) {
    __assert_fail(expression, file, static_cast<AssertionLine>(line), function);
}

} // namespace Rynvel

#endif
