// SPDX-License-Identifier: MIT
#include "WriteProgress.h"

#include <unistd.h>

#include "Printable.h"

namespace Rynvelctl {

namespace {

constexpr std::string_view nameSeparator = ", ";
constexpr std::string_view writtenWord = "written";

/** The object that exists. */
std::atomic<WriteProgress*> currentProgress{nullptr};

} // namespace

WriteProgress::WriteProgress(const std::string& device, const std::vector<std::string>& names) {
    for (const std::string& name : names) {
        m_names += (m_ends.empty() ? "" : nameSeparator);
        m_names += printable(name);
        m_ends.push_back(m_names.size());
    }
    m_prefix = errorLine(device + ": interrupted");
    m_prefix.pop_back();
    constexpr std::size_t longestOther = 128;
    m_message.reserve(m_prefix.size() + m_names.size() + longestOther);
    currentProgress = this;
}

WriteProgress::~WriteProgress() { currentProgress = nullptr; }

void WriteProgress::enter(std::size_t done, Outcome outcome) {
    m_state = done * outcomes + static_cast<std::size_t>(outcome);
}

Pieces WriteProgress::pieces() const {
    const std::size_t state = m_state;
    const std::size_t position = state / outcomes;
    const std::size_t count = m_ends.size();
    if (position == count) {
        return {" (", writtenWord, ": ", names(0, count), ")"};
    }
    constexpr std::array<std::string_view, outcomes> texts{"not written", unknown, unconfirmed};
    const std::string_view outcome = texts[state % outcomes];
    const std::string_view name = names(position, position + 1);
    if (count == 1) {
        return {" (", outcome, ": ", name, ")"};
    }
    return piecesOf({writtenWord, names(0, position), outcome, name, names(position + 1, count)});
}

std::string_view WriteProgress::names(std::size_t begin, std::size_t end) const {
    if (begin == end) {
        return noNames;
    }
    const std::size_t first = begin == 0 ? 0 : m_ends[begin - 1] + nameSeparator.size();
    return std::string_view(m_names).substr(first, m_ends[end - 1] - first);
}

void WriteProgress::endWithMessage(int number) {
    if (WriteProgress* const progress = currentProgress) {
        progress->printAfterSignal();
    }
    // Ends the process when the handler returns, because the signal has its default action again.
    ::raise(number);
}

void WriteProgress::printAfterSignal() {
    if (m_state == 0) {
        return;
    }
    m_message = m_prefix;
    for (const std::string_view piece : pieces()) {
        m_message += piece;
    }
    m_message += '\n';
    [[maybe_unused]] const ssize_t count = ::write(STDERR_FILENO, m_message.data(), m_message.size());
}

} // namespace Rynvelctl
