#include "Deadline.h"

#include <algorithm>

namespace Common {

int Deadline::pollTime() const {
    if (!m_moment) {
        return -1;
    }
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(*m_moment - std::chrono::steady_clock::now());
    return static_cast<int>(std::max(left, std::chrono::milliseconds(0)).count());
}

Deadline Deadline::earlier(const Deadline& one, const Deadline& other) {
    if (!one.m_moment || !other.m_moment) {
        return one.m_moment ? one : other;
    }
    return *one.m_moment < *other.m_moment ? one : other;
}

} // namespace Common
