/* SPDX-License-Identifier: MIT */
#ifndef ZILTRACE_LINE_FORMAT_H
#define ZILTRACE_LINE_FORMAT_H

#include "ZilTraceControl.h"

#include <chrono>
#include <string>
#include <string_view>

namespace ziltrace {

/** Returns the text as a single line, with escape sequences for control characters and backslashes. */
std::string escaped(std::string_view text);

/** Returns the time in UTC in ISO 8601 format, with microseconds (six decimal places). */
std::string formatTime(std::chrono::system_clock::time_point time);

/** Returns the line of a message, without the time and the newline. */
std::string formatMessage(const ZilTraceControl::Record& record);

/** Returns the whole line of a message, with the time and the newline. */
std::string formatLine(const ZilTraceControl::Record& record);

} // namespace ziltrace

#endif
