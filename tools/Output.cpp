// SPDX-License-Identifier: MIT
#include "Output.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>
#include <string_view>

#include <poll.h>
#include <unistd.h>

#include "Formats.h"
#include "Printable.h"

namespace Rynvelctl {

namespace {

std::string formatReport(Format format, const Report& report, GivenBase base) {
    switch (format) {
    case Format::Values:
        return formatValues(report, base);
    case Format::Json:
        return formatJson(report);
    default:
        return formatText(report, base);
    }
}

/** Waits until standard output is writable. Also returns after an error, which the next write reports. */
void waitUntilWritable(const CommandTimeout& timeout) {
    pollfd output{STDOUT_FILENO, POLLOUT, 0};
    while (::poll(&output, 1, timeout.deadline().pollTimeout()) <= 0) {
        timeout.requireTimeLeft("standard output");
    }
}

/** A writable pipe accepts this number of bytes without blocking. */
constexpr std::size_t longestWrite = PIPE_BUF;

/**
 * Returns the number of bytes to write next. These are whole lines if a line ends within longestWrite bytes, because a
 * later write may fail.
 */
std::size_t sizeOfWrite(std::string_view lines) {
    const std::size_t end = lines.rfind('\n', longestWrite - 1);
    return end == std::string_view::npos ? longestWrite : end + 1;
}

/** Writes a text. @return the error number; 0 if standard output has taken the whole text. */
int writeAll(std::string_view text, Output::Contents contents, const CommandTimeout& timeout) {
    while (!text.empty()) {
        waitUntilWritable(timeout);
        const std::size_t size =
            std::min(text.size(), contents == Output::Contents::Lines ? sizeOfWrite(text) : longestWrite);
        const ssize_t count = ::write(STDOUT_FILENO, text.data(), size);
        if (count >= 0) {
            text.remove_prefix(static_cast<std::size_t>(count));
        } else if (errno != EAGAIN && errno != EINTR) {
            return errno;
        }
    }
    return 0;
}

void waitFor(pollfd reader, const Common::Deadline& deadline) {
    if (::poll(&reader, 1, deadline.pollTimeout()) > 0) {
        throw OutputClosed();
    }
}

} // namespace

Failure outputFailure(int error) {
    return {ExitStatus::Failed, std::string("standard output: ") + std::strerror(error)};
}

// poll() ignores a descriptor that is -1.
pollfd Output::reader() const { return {m_deferred.isOn ? -1 : STDOUT_FILENO, 0, 0}; }

void Output::waitUntil(const Common::Deadline& deadline) const { waitFor(reader(), deadline); }

void Output::waitWithReader(const Common::Deadline& deadline) { waitFor({STDOUT_FILENO, 0, 0}, deadline); }

void Output::print(const Report& report) const {
    const std::string text = printableLines(formatReport(m_format, report, m_base));
    if (!text.empty()) {
        write(text + '\n', Contents::Lines);
    }
}

void Output::print(const Reading& reading) const {
    std::visit([this](const auto& read) { print(Report(read)); }, reading);
}

void Output::write(const std::string& text, Contents contents) const {
    const int error = writeAll(text, contents, m_timeout);
    if (error == 0) {
        return;
    }
    if (m_deferred.isOn) {
        m_deferred.failure = m_deferred.failure.value_or(outputFailure(error));
    } else if (error == EPIPE) {
        throw OutputClosed();
    } else {
        throw outputFailure(error);
    }
}

} // namespace Rynvelctl
