/**
 * @file
 * Moments by which something must have happened.
 */
#ifndef RYNVEL_COMMON_DEADLINE_H
#define RYNVEL_COMMON_DEADLINE_H

#include <chrono>
#include <functional>
#include <optional>

namespace Common {

/** A moment of the steady clock, or one that never comes. */
class Deadline {
public:
    using TimePoint = std::chrono::steady_clock::time_point;

    /** One that never comes. */
    Deadline() = default;

    /** @param time from now on. */
    explicit Deadline(std::chrono::milliseconds time) : m_timePoint(std::chrono::steady_clock::now() + time) {}

    /** None for one that never comes. */
    const std::optional<TimePoint>& timePoint() const { return m_timePoint; }

    bool hasPassed() const { return pollTimeout() == 0; }

    /** The milliseconds that are left, as poll() takes them: rounded up, 0 when it is over, -1 when it never comes. */
    int pollTimeout() const;

    /** The one of two that comes first. */
    static Deadline earlier(const Deadline& one, const Deadline& other);

private:
    std::optional<TimePoint> m_timePoint;
};

/** Gives the deadline of what begins now. */
using DeadlineFactory = std::function<Deadline()>;

} // namespace Common

#endif
