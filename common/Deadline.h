/* SPDX-License-Identifier: MIT */
/**
 * @file
 * Points in time by which an operation must end.
 */
#ifndef RYNVEL_COMMON_DEADLINE_H
#define RYNVEL_COMMON_DEADLINE_H

#include <chrono>
#include <functional>
#include <optional>

namespace Common {

/** A point in time of the steady clock, or no limit. */
class Deadline {
public:
    using TimePoint = std::chrono::steady_clock::time_point;

    /** A deadline that never passes. */
    Deadline() = default;

    /** The point in time that is `time` after this call. */
    explicit Deadline(std::chrono::milliseconds time) : m_timePoint(std::chrono::steady_clock::now() + time) {}

    /** Returns the point in time; empty if there is no limit. */
    const std::optional<TimePoint>& timePoint() const { return m_timePoint; }

    bool hasPassed() const { return pollTimeout() == 0; }

    /**
     * Returns the time left in milliseconds, rounded up, for poll(). Returns 0 if the deadline has passed, and -1 if
     * there is no limit. Returns INT_MAX, which is about 24.8 days, if more time is left.
     */
    int pollTimeout() const;

    /** Returns the earlier of two deadlines. */
    static Deadline earlier(const Deadline& one, const Deadline& other);

private:
    std::optional<TimePoint> m_timePoint;
};

/** A function that returns the deadline of an operation that begins at the time of the call. */
using DeadlineFactory = std::function<Deadline()>;

} // namespace Common

#endif
