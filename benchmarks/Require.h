/* SPDX-License-Identifier: MIT */
#ifndef RYNVEL_BENCHMARKS_REQUIRE_H
#define RYNVEL_BENCHMARKS_REQUIRE_H

#include <cstdio>
#include <cstdlib>

namespace RynvelBenchmark {

/**
 * Returns the result of a call. If the result equals `failure`, reports `errno` on standard error and ends the program.
 */
template <typename Result>
Result require(Result result, const char* call, Result failure = Result(-1)) {
    if (result == failure) {
        std::perror(call);
        std::_Exit(EXIT_FAILURE);
    }
    return result;
}

} // namespace RynvelBenchmark

#endif
