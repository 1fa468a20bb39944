// SPDX-License-Identifier: MIT
#include "Output.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>
#include <string_view>

#include <poll.h>
#include <unistd.h>

#include "DeviceName.h"
#include "Formats.h"

namespace Rynvelctl {

namespace {

std::string formatReport(Format format, const Report& report, GivenBase base) {
    switch (format) {
    case Format::Bare:
        return formatBare(report, base);
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

std::size_t writeSome(std::string_view text) {
    // A writable pipe accepts PIPE_BUF bytes without blocking.
    const ssize_t count = ::write(STDOUT_FILENO, text.data(), std::min<std::size_t>(text.size(), PIPE_BUF));
    if (count >= 0) {
        return static_cast<std::size_t>(count);
    }
    if (errno == EPIPE) {
        throw OutputClosed();
    }
    if (errno != EAGAIN && errno != EINTR) {
        throw outputFailure(errno);
    }
    return 0;
}

} // namespace

Failure outputFailure(int error) {
    return {ExitStatus::Failed, std::string("standard output: ") + std::strerror(error)};
}

// The names of a register map come from a file, which must not control the terminal.
std::string withoutControlCharacters(std::string text) {
    std::replace_if(
        text.begin(), text.end(),
        [](char character) { return character != '\n' && Common::isControlCharacter(character); }, '?');
    return text;
}

void waitUntil(const Common::Deadline& deadline) {
    pollfd output{STDOUT_FILENO, 0, 0};
    if (::poll(&output, 1, deadline.pollTimeout()) > 0) {
        throw OutputClosed();
    }
}

void Output::print(const Report& report) const {
    const std::string text = withoutControlCharacters(formatReport(m_format, report, m_base));
    if (!text.empty()) {
        write(text + '\n');
    }
}

void Output::write(const std::string& text) const {
    std::string_view rest = text;
    while (!rest.empty()) {
        waitUntilWritable(m_timeout);
        rest.remove_prefix(writeSome(rest));
    }
}

} // namespace Rynvelctl
