/* SPDX-License-Identifier: MIT */
#ifndef ZILTRACE_SINKS_H
#define ZILTRACE_SINKS_H

#include "ZilTraceControl.h"

#include <memory>
#include <string>

#include "Configuration.h"

namespace ziltrace {

std::unique_ptr<ZilTraceControl::Sink> makeStderrSink();

/** Returns the chosen sink. If the file of the sink cannot be opened, returns null and stores the reason in `error`. */
std::unique_ptr<ZilTraceControl::Sink> makeSink(const SinkChoice& choice, std::string& error);

} // namespace ziltrace

#endif
