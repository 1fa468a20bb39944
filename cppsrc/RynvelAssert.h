/* SPDX-License-Identifier: MIT */
#ifndef RYNVEL_ASSERT_H
#define RYNVEL_ASSERT_H

#include <cassert>

#ifdef NDEBUG
#error "the assertions of the library are part of its contract (compile the library without NDEBUG)"
#endif

namespace Rynvel {

/** Fails a standard assertion, whose message contains the given source file, line and function. */
[[noreturn]] inline void failAssertionAt(const char* expression, const char* file, unsigned int line,
                                         const char* function) {
    __assert_fail(expression, file, line, function);
}

} // namespace Rynvel

#endif
