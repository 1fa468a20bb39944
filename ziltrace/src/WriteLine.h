#ifndef ZILTRACE_WRITE_LINE_H
#define ZILTRACE_WRITE_LINE_H

#include <string>

namespace ziltrace {

/// Writes the line with one system call. A failure is ignored, also the one that would raise SIGPIPE.
void writeLine(int descriptor, const std::string& line);

} // namespace ziltrace

#endif
