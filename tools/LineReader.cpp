// SPDX-License-Identifier: MIT
#include "LineReader.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <string_view>
#include <utility>

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include "Failure.h"
#include "StandardDescriptors.h"

namespace Rynvelctl {

namespace {

constexpr std::size_t pieceSize = 4096;
/** Some editors write this mark at the beginning of a UTF-8 file. */
constexpr std::string_view byteOrderMark = "\xef\xbb\xbf";

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

LineReader::LineReader(const std::string& file, const CommandTimeout& timeout, const Output& output)
    : m_file(file), m_timeout(timeout), m_output(output), m_input(open(file)) {}

std::optional<std::string> LineReader::next() {
    if (std::exchange(m_isInLongLine, false)) {
        skipLine();
    }
    const std::size_t size = measureLine();
    if (m_begin == m_text.size()) {
        return std::nullopt;
    }
    m_isInLongLine = size > longestLine;
    std::string line = m_text.substr(m_begin, std::min(size, longestLine + 1));
    m_begin = std::min(m_begin + line.size() + (m_isInLongLine ? 0 : 1), m_text.size());
    if (++m_number == 1 && line.compare(0, byteOrderMark.size(), byteOrderMark) == 0) {
        line.erase(0, byteOrderMark.size());
    }
    return line;
}

std::size_t LineReader::measureLine() {
    std::size_t size = 0;
    do {
        const std::size_t end = m_text.find('\n', m_begin + size);
        if (end != std::string::npos) {
            return end - m_begin;
        }
        size = m_text.size() - m_begin;
    } while (size <= longestLine && readMore());
    return size;
}

void LineReader::skipLine() {
    std::size_t end = m_text.find('\n', m_begin);
    while (end == std::string::npos) {
        m_begin = m_text.size();
        if (!readMore()) {
            return;
        }
        end = m_text.find('\n', m_begin);
    }
    m_begin = end + 1;
}

void LineReader::waitUntilReadable() const {
    std::array<pollfd, 2> ready{{{m_input.number(), POLLIN, 0}, m_output.reader()}};
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
    // A file that is always readable involves no wait, so waitUntilReadable() does not notice that the time-out has
    // expired.
    if (count > 0) {
        m_timeout.requireTimeLeft(m_file);
    }
    return count != 0;
}

} // namespace Rynvelctl
