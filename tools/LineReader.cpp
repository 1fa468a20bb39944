// SPDX-License-Identifier: MIT
#include "LineReader.h"

#include <array>
#include <cerrno>
#include <cstring>
#include <utility>

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include "Failure.h"
#include "Output.h"

namespace Rynvelctl {

namespace {

constexpr std::size_t longestLine = 65536;
constexpr std::size_t pieceSize = 4096;

Failure fileFailure(const std::string& file) { return usageError(file + ": " + std::strerror(errno)); }

// Does not wait for the first writer of a named pipe, because this wait would not end with the time-out.
Common::Descriptor open(const std::string& file) {
    Common::Descriptor input(file == standardInput ? ::fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 0)
                                                   : ::open(file.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    if (!input.isOpen()) {
        throw fileFailure(file);
    }
    return input;
}

} // namespace

LineReader::LineReader(const std::string& file, const CommandTimeout& timeout)
    : m_file(file), m_timeout(timeout), m_input(open(file)) {}

std::optional<std::string> LineReader::next() {
    std::size_t searched = m_begin;
    std::size_t end = m_text.find('\n', searched);
    while (end == std::string::npos) {
        searched = m_text.size() - m_begin;
        if (searched > longestLine) {
            throw usageError(m_file + ':' + std::to_string(m_number + 1) + ": the line has more than " +
                             std::to_string(longestLine) + " bytes");
        }
        if (!readMore()) {
            break;
        }
        end = m_text.find('\n', searched);
    }
    if (end == std::string::npos && m_begin == m_text.size()) {
        return std::nullopt;
    }
    const std::string line = m_text.substr(m_begin, end - m_begin);
    m_begin = end == std::string::npos ? m_text.size() : end + 1;
    ++m_number;
    return line;
}

void LineReader::waitUntilReadable() const {
    std::array<pollfd, 2> ready{{{m_input.number(), POLLIN, 0}, {STDOUT_FILENO, 0, 0}}};
    while (::poll(ready.data(), ready.size(), m_timeout.deadline().pollTimeout()) <= 0) {
        m_timeout.requireTimeLeft(m_file);
    }
    if (ready[0].revents == 0) {
        throw OutputClosed();
    }
}

bool LineReader::readMore() {
    m_text.erase(0, std::exchange(m_begin, 0));
    waitUntilReadable();
    const std::size_t size = m_text.size();
    m_text.resize(size + pieceSize);
    const ssize_t count = ::read(m_input.number(), m_text.data() + size, pieceSize);
    m_text.resize(size + (count > 0 ? static_cast<std::size_t>(count) : 0));
    if (count == -1 && errno != EINTR && errno != EAGAIN) {
        throw fileFailure(m_file);
    }
    return count != 0;
}

} // namespace Rynvelctl
