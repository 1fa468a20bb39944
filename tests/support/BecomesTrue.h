/* SPDX-License-Identifier: MIT */
#ifndef RYNVEL_TESTS_BECOMESTRUE_H
#define RYNVEL_TESTS_BECOMESTRUE_H

#include <chrono>
#include <thread>

namespace RynvelTest {

/** Polls a condition every millisecond. Returns false if the condition does not become true within a minute. */
template <typename Condition>
bool becomesTrue(const Condition& condition) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::minutes(1);
    while (!condition()) {
        if (std::chrono::steady_clock::now() > end) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

} // namespace RynvelTest

#endif
