/* SPDX-License-Identifier: MIT */
#ifndef ZILTRACE_WRITE_LINE_H
#define ZILTRACE_WRITE_LINE_H

#include <string>

namespace ziltrace {

/** Writes the line with one system call. Ignores failures, and does not raise SIGPIPE. */
void writeLine(int descriptor, const std::string& line);

} // namespace ziltrace

#endif
