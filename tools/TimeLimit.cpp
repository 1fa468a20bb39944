#include "TimeLimit.h"

#include <sys/time.h>
#include <unistd.h>

#include <csignal>
#include <string_view>

#include "Failure.h"

namespace Rynvelctl {

namespace {

std::string_view lastWords;

void giveUp(int /*signal*/) {
    // There is nobody left to tell that standard error is gone.
    [[maybe_unused]] const ssize_t count = ::write(STDERR_FILENO, lastWords.data(), lastWords.size());
    _exit(static_cast<int>(ExitStatus::TimedOut));
}

void setTimer(std::chrono::milliseconds time) {
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(time);
    const std::chrono::microseconds rest = time - seconds;
    itimerval timer{};
    timer.it_value.tv_sec = static_cast<time_t>(seconds.count());
    timer.it_value.tv_usec = static_cast<suseconds_t>(rest.count());
    setitimer(ITIMER_REAL, &timer, nullptr);
}

} // namespace

TimeLimit::TimeLimit(std::chrono::milliseconds time, const std::string& text) : m_line(diagnostic(text)) {
    lastWords = m_line;
    std::signal(SIGALRM, giveUp);
    setTimer(time);
}

TimeLimit::~TimeLimit() { setTimer(std::chrono::milliseconds(0)); }

} // namespace Rynvelctl
