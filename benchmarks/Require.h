#ifndef RYNVEL_BENCHMARKS_REQUIRE_H
#define RYNVEL_BENCHMARKS_REQUIRE_H

#include <cstdio>
#include <cstdlib>

namespace RynvelBenchmark {

/** Hands on the result of a call, unless it failed: then it ends the program with one line on standard error. */
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
