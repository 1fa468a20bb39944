/* SPDX-License-Identifier: MIT */
#ifndef ZILTRACE_TESTS_ALLOCATION_COUNT_H
#define ZILTRACE_TESTS_ALLOCATION_COUNT_H

#include <cstddef>

/** Returns the number of allocations with operator new that this thread has made. */
std::size_t allocationCount();

#endif
