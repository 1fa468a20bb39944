#include "Output.h"

#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <string_view>

#include "Failure.h"
#include "Formats.h"

namespace Rynvelctl {

namespace {

std::string formatted(Format format, const Report& report) {
    switch (format) {
    case Format::Bare:
        return formatBare(report);
    case Format::Json:
        return formatJson(report);
    default:
        return formatText(report);
    }
}

std::size_t writeSome(std::string_view text) {
    const ssize_t count = ::write(STDOUT_FILENO, text.data(), text.size());
    if (count >= 0) {
        return static_cast<std::size_t>(count);
    }
    if (errno == EPIPE) {
        throw OutputClosed();
    }
    if (errno == EAGAIN) {
        pollfd output{STDOUT_FILENO, POLLOUT, 0};
        ::poll(&output, 1, -1);
    } else if (errno != EINTR) {
        throw Failure(ExitStatus::Failed, std::string("standard output: ") + std::strerror(errno));
    }
    return 0;
}

} // namespace

void Output::print(const Report& report) const {
    const std::string text = formatted(m_format, report);
    if (!text.empty()) {
        write(text + '\n');
    }
}

void Output::write(const std::string& text) {
    std::string_view rest = text;
    while (!rest.empty()) {
        rest.remove_prefix(writeSome(rest));
    }
}

} // namespace Rynvelctl
