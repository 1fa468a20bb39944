// SPDX-License-Identifier: MIT
#include "Deadline.h"

#include <algorithm>
#include <climits>

namespace Common {

int Deadline::pollTimeout() const {
    if (!m_timePoint) {
        return -1;
    }
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(*m_timePoint - std::chrono::steady_clock::now());
    return static_cast<int>(std::clamp(left, std::chrono::milliseconds(0), std::chrono::milliseconds(INT_MAX)).count());
}

Deadline Deadline::earlier(const Deadline& one, const Deadline& other) {
    if (!one.m_timePoint || !other.m_timePoint) {
        return one.m_timePoint ? one : other;
    }
    return *one.m_timePoint < *other.m_timePoint ? one : other;
}

} // namespace Common
