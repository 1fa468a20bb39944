#include "CommandTime.h"

#include "Durations.h"
#include "Failure.h"

namespace Rynvelctl {

namespace {

constexpr std::chrono::seconds answerLimit(5);

} // namespace

CommandTime::CommandTime(std::optional<std::chrono::milliseconds> limit)
    : m_limit(limit), m_deadline(limit ? Common::Deadline(*limit) : Common::Deadline()) {}

void CommandTime::require(const std::string& name) const {
    if (m_deadline.hasPassed()) {
        throw Failure(ExitStatus::TimedOut, name + ": not done within " + limit());
    }
}

Common::Deadline CommandTime::answerDeadline() const { return m_limit ? m_deadline : Common::Deadline(answerLimit); }

std::string CommandTime::limit() const { return describe(m_limit.value_or(answerLimit)); }

} // namespace Rynvelctl
