// SPDX-License-Identifier: MIT
#include "Sinks.h"

#include <array>
#include <set>
#include <string>

#include <fcntl.h>
#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>

#include "LineFormat.h"
#include "support/Child.h"
#include "support/SyslogTap.h"
#include "support/TemporaryFile.h"
#include "support/TraceFixture.h"
#include "support/WriteTap.h"

namespace {

class Sinks : public TraceFixture {
protected:
    ZilTrace m_channel{"Test.Sinks", 3, 256};
};

TEST_F(Sinks, WriteEachLineToStderrInOneCall) {
    const WriteTap tap(WriteTap::swallow);
    m_channel.logMsg(1, anyHeader, "first\nline");
    m_channel.logEnterMsg(6, anyHeader);
    m_channel.logEnterMsg(7, anyHeader, "a=1");
    const auto calls = tap.calls();
    const std::array<std::string, 3> endings{" MSG src/Pump.cpp:42 start: first\\nline\n",
                                             " ENTER src/Pump.cpp:42 start\n", " ENTER src/Pump.cpp:42 start: a=1\n"};
    ASSERT_EQ(calls.size(), endings.size());
    for (std::size_t i = 0; i < calls.size(); ++i) {
        EXPECT_EQ(calls[i].descriptor, STDERR_FILENO);
        ASSERT_GT(calls[i].data.size(), endings[i].size());
        EXPECT_EQ(calls[i].data.substr(calls[i].data.size() - endings[i].size()), endings[i]);
    }
}

TEST_F(Sinks, CreateAFileAndAppendToIt) {
    const TemporaryFile file;
    for (const char* text : {"one", "two"}) {
        configure("sink=file:" + file.path());
        m_channel.logMsg(1, anyHeader, text);
        configure("sink=stderr");
    }
    ASSERT_EQ(file.lines().size(), 2U);
    EXPECT_NE(file.lines()[0].find("start: one"), std::string::npos);
    EXPECT_NE(file.lines()[1].find("start: two"), std::string::npos);
}

TEST_F(Sinks, CreateAFileThatOnlyItsOwnerCanWrite) {
    const TemporaryFile file;
    const mode_t mask = umask(0);
    configure("sink=file:" + file.path());
    umask(mask);
    struct stat status {};
    ASSERT_EQ(stat(file.path().c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777U, 0644U);
}

TEST_F(Sinks, AppendEachLineToAFileInOneCallAndCloseTheFileOnExec) {
    const TemporaryFile file;
    configure("sink=file:" + file.path());
    const WriteTap tap(WriteTap::forward);
    m_channel.logMsg(1, anyHeader, "text");
    ASSERT_EQ(tap.calls().size(), 1U);
    const int descriptor = tap.calls()[0].descriptor;
    EXPECT_EQ(tap.calls()[0].data, file.lines().at(0) + '\n');
    EXPECT_NE(fcntl(descriptor, F_GETFL) & O_APPEND, 0);
    EXPECT_NE(fcntl(descriptor, F_GETFD) & FD_CLOEXEC, 0);
}

TEST_F(Sinks, CloseAFileWhenAnotherSinkIsConfigured) {
    const TemporaryFile file;
    configure("sink=file:" + file.path());
    const WriteTap tap(WriteTap::forward);
    m_channel.logMsg(1, anyHeader, "text");
    const int descriptor = tap.calls().at(0).descriptor;
    configure("sink=stderr");
    EXPECT_EQ(fcntl(descriptor, F_GETFD), -1);
}

TEST_F(Sinks, ShareAFileBetweenProcessesLineByLine) {
    constexpr int linesPerProcess = 500;
    const TemporaryFile file;
    const auto traceLines = [&file, this](const std::string& name) {
        configure("sink=file:" + file.path());
        for (int i = 0; i < linesPerProcess; ++i) {
            m_channel.logMsg(1, anyHeader, (name + std::to_string(i) + std::string(200, '.') + "end").c_str());
        }
        return 0;
    };
    const pid_t child = forkChild([&traceLines] { return traceLines("child"); });
    traceLines("parent");
    EXPECT_EQ(exitCodeOf(child), 0);

    std::set<std::string> texts;
    for (const std::string& line : file.lines()) {
        const auto begin = line.find("start: ");
        ASSERT_NE(begin, std::string::npos) << line;
        texts.insert(line.substr(begin + 7));
    }
    EXPECT_EQ(texts.size(), 2U * linesPerProcess);
    for (const std::string name : {"child", "parent"}) {
        for (int i = 0; i < linesPerProcess; ++i) {
            EXPECT_EQ(texts.count(name + std::to_string(i) + std::string(200, '.') + "end"), 1U);
        }
    }
}

TEST_F(Sinks, LoseOnlyTheLineOfAFailedWrite) {
    configure("sink=file:/dev/full");
    m_channel.logMsg(1, anyHeader, "lost");
    const TemporaryFile file;
    configure("sink=file:" + file.path());
    m_channel.logMsg(1, anyHeader, "kept");
    EXPECT_EQ(file.lines().size(), 1U);
}

TEST_F(Sinks, PassThePriorityOfTheLevelToSyslog) {
    configure("sink=syslog");
    SyslogTap tap;
    for (ZilTraceLevel level = -1; level <= 8; ++level) {
        m_channel.logMsg(level, anyHeader, "text");
    }
    std::vector<int> priorities;
    for (const SyslogTap::Call& call : tap.calls) {
        priorities.push_back(call.priority);
    }
    const std::vector<int> expected{LOG_CRIT, LOG_CRIT, LOG_ERR,   LOG_WARNING, LOG_NOTICE,
                                    LOG_INFO, LOG_INFO, LOG_DEBUG, LOG_DEBUG,   LOG_DEBUG};
    EXPECT_EQ(priorities, expected);
}

TEST_F(Sinks, PassTheLineToSyslogWithoutTimeStampAndNewline) {
    configure("sink=syslog");
    SyslogTap tap;
    m_channel.logMsg(1, anyHeader, "100%s\n");
    ASSERT_EQ(tap.calls.size(), 1U);
    EXPECT_EQ(tap.calls[0].message, std::to_string(gettid()) + " Test.Sinks 1 MSG src/Pump.cpp:42 start: 100%s\\n");
}

TEST_F(Sinks, DoNotWriteToStderrThroughSyslog) {
    configure("sink=syslog");
    const WriteTap tap(WriteTap::swallow);
    m_channel.logMsg(1, anyHeader, "text");
    EXPECT_TRUE(tap.calls().empty());
}

} // namespace
