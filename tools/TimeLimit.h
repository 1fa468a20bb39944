/**
 * @file
 * Gives up calls that do not return.
 */
#ifndef RYNVELCTL_TIMELIMIT_H
#define RYNVELCTL_TIMELIMIT_H

#include <chrono>
#include <string>

namespace Rynvelctl {

/**
 * The library's calls to a silent server block for ever. While a TimeLimit exists and its time runs out, the process
 * ends with a line on standard error and the status of a time-out. One at a time.
 */
class TimeLimit {
public:
    /** @param time more than 0. @param text what the user reads. */
    TimeLimit(std::chrono::milliseconds time, const std::string& text);
    TimeLimit(const TimeLimit&) = delete;
    TimeLimit& operator=(const TimeLimit&) = delete;
    ~TimeLimit();

private:
    const std::string m_line;
};

} // namespace Rynvelctl

#endif
