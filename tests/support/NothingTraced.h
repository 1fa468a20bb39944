/* SPDX-License-Identifier: MIT */
#ifndef RYNVEL_TESTS_NOTHINGTRACED_H
#define RYNVEL_TESTS_NOTHINGTRACED_H

#include <gtest/gtest.h>

#include "TraceRecorder.h"

namespace RynvelTest {

/** A scope in which the test expects no trace up to the level. */
class NothingTraced {
public:
    explicit NothingTraced(ZilTraceLevel level) : m_recorder(level) {}
    NothingTraced(const NothingTraced&) = delete;
    NothingTraced& operator=(const NothingTraced&) = delete;
    ~NothingTraced() { EXPECT_EQ(m_recorder.lines(), EventLog{}); }

private:
    const TraceRecorder m_recorder;
};

} // namespace RynvelTest

#endif
