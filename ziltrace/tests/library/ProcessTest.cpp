// SPDX-License-Identifier: MIT
#include "ZilTraceControl.h"

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <string>

#include <unistd.h>

#include <gtest/gtest.h>

#include "support/Child.h"
#include "support/WriteTap.h"

// Every test uses the library only in a forked child, so each child starts with an unused library.

namespace {

constexpr ZilTraceHeader header{"src/Pump.cpp", 42, "start"};

long linesIn(const std::string& output) { return std::count(output.begin(), output.end(), '\n'); }

bool endsWith(const std::string& text, const std::string& ending) {
    return text.size() >= ending.size() && text.compare(text.size() - ending.size(), ending.size(), ending) == 0;
}

ChildResult runWithEnvironment(const char* value, const std::function<void()>& body) {
    return runInChild([&] {
        setenv("ZILTRACE", value, 1);
        body();
    });
}

TEST(Process, TracesToStderrWithOneWritePerLine) {
    const ChildResult result = runInChild([] {
        unsetenv("ZILTRACE");
        ZilTrace channel("Process.A", 3, 256);
        const WriteTap tap(WriteTap::forward);
        channel.logMsg(1, header, "text");
        channel.logEnterMsg(1, header);
        if (tap.calls().size() != 2) {
            std::exit(1);
        }
    });
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(linesIn(result.errorOutput), 2) << result.errorOutput;
    EXPECT_NE(result.errorOutput.find(" Process.A 1 MSG src/Pump.cpp:42 start: text\n"), std::string::npos);
    EXPECT_TRUE(endsWith(result.errorOutput, " Process.A 1 ENTER src/Pump.cpp:42 start\n")) << result.errorOutput;
}

TEST(Process, ReadsTheEnvironmentWithItsFirstChannel) {
    const ChildResult result = runWithEnvironment("Process.A=6", [] {
        const ZilTrace channel("Process.A", 3, 256);
        const ZilTrace other("Process.B", 3, 256);
        std::exit(channel.isEnabled(6) && !channel.isEnabled(7) && !other.isEnabled(4) ? 0 : 1);
    });
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(result.errorOutput, "");
}

TEST(Process, ReadsTheEnvironmentOnce) {
    const ChildResult result = runWithEnvironment("Process.*=6", [] {
        const ZilTrace first("Process.A", 3, 256);
        setenv("ZILTRACE", "Process.*=1", 1);
        const ZilTrace second("Process.B", 3, 256);
        std::exit(first.isEnabled(6) && second.isEnabled(6) ? 0 : 1);
    });
    EXPECT_EQ(result.exitCode, 0);
}

TEST(Process, ReportsAMalformedEnvironmentOnce) {
    const ChildResult result = runWithEnvironment("Process.A=6,Process.B=9", [] {
        const ZilTrace first("Process.A", 3, 256);
        const ZilTrace second("Process.A", 3, 256);
        std::exit(first.isEnabled(4) || second.isEnabled(4) ? 1 : 0);
    });
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(result.errorOutput, "ziltrace: ZILTRACE ignored: 'Process.B=9': level is not a number from 0 to 7\n");
}

TEST(Process, PrefersTheSettingsOfTheProgramToTheEnvironment) {
    const ChildResult result = runWithEnvironment("Process.*=6", [] {
        ZilTraceControl::setLevel("Process.A", 2);
        const ZilTrace a("Process.A", 3, 256);
        const ZilTrace b("Process.B", 3, 256);
        std::exit(!a.isEnabled(3) && b.isEnabled(6) ? 0 : 1);
    });
    EXPECT_EQ(result.exitCode, 0);
}

TEST(Process, DestroysChannelsAtExitInAnyOrder) {
    const ChildResult result = runWithEnvironment("", [] {
        static std::unique_ptr<ZilTrace> destroyedLast;
        static const ZilTrace own("Process.Own", 3, 256);
        destroyedLast = std::make_unique<ZilTrace>("Process.Last", 3, 256);
        static auto* const neverDestroyed = new ZilTrace("Process.Never", 3, 256);
        neverDestroyed->logMsg(1, header, "alive");
    });
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(linesIn(result.errorOutput), 1) << result.errorOutput;
}

TEST(Process, TracesFromTheLastExitHandler) {
    const ChildResult result = runWithEnvironment("", [] {
        static ZilTrace* channel = nullptr;
        std::atexit([] {
            channel->logMsg(1, header, "at the end");
            delete channel;
        });
        channel = new ZilTrace("Process.Late", 3, 256);
    });
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_TRUE(endsWith(result.errorOutput, " Process.Late 1 MSG src/Pump.cpp:42 start: at the end\n"))
        << result.errorOutput;
}

TEST(Process, UsesASinkOfTheProgram) {
    class CountingSink : public ZilTraceControl::Sink {
    public:
        void write(const ZilTraceControl::Record&) override { ++count; }
        int count = 0;
    };
    const ChildResult result = runWithEnvironment("", [] {
        ZilTrace channel("Process.A", 3, 256);
        CountingSink sink;
        ZilTraceControl::setSink(&sink);
        channel.logMsg(1, header, "text");
        ZilTraceControl::setSink(nullptr);
        std::exit(sink.count == 1 ? 0 : 1);
    });
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(result.errorOutput, "");
}

} // namespace
