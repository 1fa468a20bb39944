// SPDX-License-Identifier: MIT
#ifndef RYNVEL_FUZZ_RULE_H
#define RYNVEL_FUZZ_RULE_H

#include <cstdio>
#include <cstdlib>

namespace RynvelFuzz {

/** If the rule does not hold, prints the rule and ends the process. The fuzzer then reports a finding. */
inline void require(bool holds, const char* rule) {
    if (!holds) {
        std::fprintf(stderr, "broken rule: %s\n", rule);
        std::abort();
    }
}

} // namespace RynvelFuzz

#endif
