/* SPDX-License-Identifier: MIT */
#ifndef ZILTRACE_TESTS_ALLOCATION_COUNT_H
#define ZILTRACE_TESTS_ALLOCATION_COUNT_H

#include <cstddef>

/** Returns the number of calls to operator new in this thread. */
std::size_t allocationCount();

#endif
