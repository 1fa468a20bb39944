// SPDX-License-Identifier: MIT
#include "WriteProgress.h"

#include <algorithm>
#include <string_view>
#include <utility>

#include <poll.h>
#include <unistd.h>

namespace Rynvelctl {

namespace {

/** The only object, for the signal handler. */
std::atomic<WriteProgress*> currentProgress{nullptr};

/** Writes a text to standard error. Leaves out the rest if standard error is not ready within 100 ms. */
void printAtOnce(std::string_view text) {
    // Each piece fits into a pipe or a terminal that is ready.
    constexpr std::size_t longestPiece = 256;
    constexpr int longestWait = 100;
    pollfd error{STDERR_FILENO, POLLOUT, 0};
    while (!text.empty() && ::poll(&error, 1, longestWait) > 0) {
        const ssize_t count = ::write(STDERR_FILENO, text.data(), std::min(text.size(), longestPiece));
        if (count <= 0) {
            return;
        }
        text.remove_prefix(static_cast<std::size_t>(count));
    }
}

} // namespace

WriteProgress::WriteProgress(const std::string& device, const std::vector<std::string>& names)
    : WriteProgress(device, std::make_unique<NamedWrites>(names)) {}

WriteProgress::WriteProgress(const std::string& device, std::unique_ptr<const WriteList> writes)
    : m_writes(std::move(writes)) {
    m_prefix = errorLine(device + ": interrupted");
    m_prefix.pop_back();
    m_message.reserve(m_prefix.size() + m_writes->longestText() + 1);
    currentProgress = this;
}

WriteProgress::~WriteProgress() { currentProgress = nullptr; }

void WriteProgress::enter(std::size_t done, Outcome outcome) {
    m_state = done * outcomes + static_cast<std::size_t>(outcome);
}

Pieces WriteProgress::pieces() const {
    const std::size_t state = m_state;
    return m_writes->pieces(state / outcomes, static_cast<Outcome>(state % outcomes));
}

void WriteProgress::endWithMessage(int number) {
    if (WriteProgress* const progress = currentProgress) {
        progress->printAfterSignal();
    }
    TerminationSignalHandler::endProcess(number);
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
    printAtOnce(m_message);
}

} // namespace Rynvelctl
