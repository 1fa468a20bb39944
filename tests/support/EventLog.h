/* SPDX-License-Identifier: MIT */
#ifndef RYNVEL_TESTS_EVENTLOG_H
#define RYNVEL_TESTS_EVENTLOG_H

#include <string>
#include <vector>

namespace RynvelTest {

/** The events of a test, in order, as texts. */
using EventLog = std::vector<std::string>;

} // namespace RynvelTest

#endif
