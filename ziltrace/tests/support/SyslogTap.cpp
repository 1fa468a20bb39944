// SPDX-License-Identifier: MIT
#include "support/SyslogTap.h"

#include <array>
#include <cstdarg>
#include <cstdio>

namespace {

thread_local SyslogTap* t_tap = nullptr;

void take(int priority, const char* format, std::va_list arguments) {
    std::array<char, 1024> message{};
    // NOLINTNEXTLINE(clang-analyzer-valist.Uninitialized)
    std::vsnprintf(message.data(), message.size(), format, arguments);
    if (t_tap != nullptr) {
        t_tap->calls.push_back({priority, message.data()});
    }
}

} // namespace

SyslogTap::SyslogTap() { t_tap = this; }

SyslogTap::~SyslogTap() { t_tap = nullptr; }

extern "C" void syslog(int priority, const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    take(priority, format, arguments);
    va_end(arguments);
}

// Builds with _FORTIFY_SOURCE call this function instead of syslog().
// NOLINTNEXTLINE(bugprone-reserved-identifier)
extern "C" void __syslog_chk(int priority, int, const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    take(priority, format, arguments);
    va_end(arguments);
}
