// SPDX-License-Identifier: MIT
#include <atomic>
#include <cstdlib>
#include <string>
#include <vector>

#include <unistd.h>

#include <gtest/gtest.h>

#include "Runtime.h"
#include "support/TemporaryFile.h"
#include "support/TraceFixture.h"
#include "support/WriteTap.h"

using ziltrace::Channel;
using ziltrace::Runtime;

namespace {

/** A fixture that configures a runtime from the environment, and traces one message. */
class Environment : public ::testing::Test {
protected:
    Environment() { m_runtime.registry().add(m_channel); }
    ~Environment() override { unsetenv("ZILTRACE"); }

    void startWith(const std::string& value) {
        setenv("ZILTRACE", value.c_str(), 1);
        start();
    }

    void start() {
        const WriteTap tap([](int descriptor, const void* data, std::size_t size) {
            return descriptor == STDERR_FILENO ? WriteTap::swallow(descriptor, data, size)
                                               : WriteTap::forward(descriptor, data, size);
        });
        m_runtime.configureFromEnvironment();
        traceOneMessage();
        for (const WriteTap::Call& call : tap.calls()) {
            if (call.descriptor == STDERR_FILENO) {
                m_errorWrites.push_back(call.data);
            }
        }
    }

    void traceOneMessage() {
        m_runtime.write({ZilTraceControl::Kind::Message, "Test.Environment", 1, 0, &anyHeader, "traced", {}, 1});
    }

    static constexpr ZilTraceLevel constructedLevel = 3;
    const std::string m_tracedLine =
        "1970-01-01T00:00:00.000000Z 1 Test.Environment 1 MSG src/Pump.cpp:42 start: traced\n";
    std::vector<std::string> m_errorWrites;
    std::atomic<ZilTraceLevel> m_level{constructedLevel};
    const Channel m_channel{"Test.Environment", constructedLevel, 256, m_level};
    Runtime m_runtime;
};

TEST_F(Environment, ChangesNoLevelAndTracesToStderrWithoutTheVariable) {
    unsetenv("ZILTRACE");
    start();
    EXPECT_EQ(m_level, constructedLevel);
    EXPECT_EQ(m_errorWrites, std::vector<std::string>{m_tracedLine});
}

TEST_F(Environment, SetsNothingIfTheVariableIsEmpty) {
    startWith("");
    EXPECT_EQ(m_level, constructedLevel);
    EXPECT_EQ(m_errorWrites, std::vector<std::string>{m_tracedLine});
}

TEST_F(Environment, SetsLevels) {
    startWith("Other=1,Test.*=6");
    EXPECT_EQ(m_level, 6);
    EXPECT_EQ(m_errorWrites, std::vector<std::string>{m_tracedLine});
}

TEST_F(Environment, SetsTheSink) {
    const TemporaryFile file;
    startWith("sink=file:" + file.path());
    EXPECT_TRUE(m_errorWrites.empty());
    EXPECT_EQ(file.lines().size(), 1U);
}

class MalformedEnvironment : public Environment, public ::testing::WithParamInterface<std::string> {};

TEST_P(MalformedEnvironment, IsReportedWithOneWriteAndIgnoredAsAWhole) {
    const TemporaryFile file;
    startWith("Test.*=6,sink=file:" + file.path() + "," + GetParam());
    ASSERT_EQ(m_errorWrites.size(), 2U);
    const std::string beginning = "ziltrace: ZILTRACE ignored: '" + GetParam() + "': ";
    EXPECT_EQ(m_errorWrites[0].substr(0, beginning.size()), beginning);
    EXPECT_EQ(m_errorWrites[0].find('\n'), m_errorWrites[0].size() - 1);
    EXPECT_EQ(m_errorWrites[1], m_tracedLine);
    EXPECT_EQ(m_level, constructedLevel);
    EXPECT_FALSE(file.exists());
}

INSTANTIATE_TEST_SUITE_P(Forms, MalformedEnvironment,
                         ::testing::Values("Test.*=8", "Test.*=x", "=3", "Test", "sink=stdout",
                                           "sink=file:", "sink=file:/nonexistent/trace.log", "sink=file:/"));

TEST_F(Environment, ReportsAnItemWithNewlinesInOneLine) {
    startWith("Test\nziltrace: forged=1=");
    ASSERT_EQ(m_errorWrites.size(), 2U);
    EXPECT_EQ(m_errorWrites[0], "ziltrace: ZILTRACE ignored: 'Test\\nziltrace: forged=1=': level is not a number from "
                                "0 to 7\n");
}

TEST_F(Environment, ReportsWhyAFileCannotBeOpened) {
    startWith("sink=file:/nonexistent/trace.log");
    EXPECT_EQ(m_errorWrites.at(0), "ziltrace: ZILTRACE ignored: 'sink=file:/nonexistent/trace.log': No such file or "
                                   "directory\n");
}

} // namespace
