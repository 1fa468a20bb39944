// SPDX-License-Identifier: MIT
#include "CommandTimeout.h"

#include "Failure.h"
#include "TimeText.h"

namespace Rynvelctl {

namespace {

constexpr std::chrono::seconds answerLimit(5);

} // namespace

CommandTimeout::CommandTimeout(std::optional<std::chrono::milliseconds> limit)
    : m_limit(limit), m_deadline(limit ? Common::Deadline(*limit) : Common::Deadline()) {}

void CommandTimeout::requireTimeLeft(const std::string& name) const {
    if (m_deadline.hasPassed()) {
        throw failure(name);
    }
}

Failure CommandTimeout::failure(const std::string& name) const {
    return {ExitStatus::TimedOut, name + ": timed out after " + limitText()};
}

Common::Deadline CommandTimeout::answerDeadline() const { return m_limit ? m_deadline : Common::Deadline(answerLimit); }

std::string CommandTimeout::limitText() const { return describe(m_limit.value_or(answerLimit)); }

} // namespace Rynvelctl
