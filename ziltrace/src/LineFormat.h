#ifndef ZILTRACE_LINE_FORMAT_H
#define ZILTRACE_LINE_FORMAT_H

#include "ZilTraceControl.h"

#include <chrono>
#include <string>
#include <string_view>

namespace ziltrace {

/// The text with control characters and backslashes written as escape sequences, so that it stays on one line.
std::string escaped(std::string_view text);

std::string formatTime(std::chrono::system_clock::time_point time);

/// The message without time stamp and newline.
std::string formatMessage(const ZilTraceControl::Record& record);

/// The whole line, newline included.
std::string formatLine(const ZilTraceControl::Record& record);

} // namespace ziltrace

#endif
