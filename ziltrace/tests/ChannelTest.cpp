// SPDX-License-Identifier: MIT
#include "ZilTrace.h"

#include <array>
#include <cerrno>
#include <chrono>
#include <memory>
#include <stdexcept>
#include <thread>
#include <type_traits>

#include <fcntl.h>
#include <pthread.h>
#include <unistd.h>

#include "support/AllocationCount.h"
#include "support/TraceFixture.h"
#include "support/WriteTap.h"

using ZilTraceControl::Kind;
using ZilTraceControl::Record;

namespace {

static_assert(!std::is_copy_constructible_v<ZilTrace> && !std::is_copy_assignable_v<ZilTrace>);
static_assert(!std::is_move_constructible_v<ZilTrace> && !std::is_move_assignable_v<ZilTrace>);

class Channel : public TraceFixture {
protected:
    Channel() { ZilTraceControl::setSink(&m_sink); }

    RecordingSink m_sink;
    ZilTrace m_channel{"Test.Channel", 3, 256};
};

class ThrowingSink : public ZilTraceControl::Sink {
public:
    void write(const Record&) override {
        errno = ENOSPC;
        throw std::runtime_error("no room");
    }
};

class TracingSink : public ZilTraceControl::Sink {
public:
    void write(const Record&) override {
        ++calls;
        m_channel.logMsg(1, anyHeader, "from inside");
    }

    int calls = 0;

private:
    ZilTrace m_channel{"Test.TracingSink", 3, 256};
};

TEST_F(Channel, EnablesItsLevelAndMoreSevereOnes) {
    EXPECT_TRUE(m_channel.isEnabled(0));
    EXPECT_TRUE(m_channel.isEnabled(3));
    EXPECT_FALSE(m_channel.isEnabled(4));
}

TEST_F(Channel, ChecksTheLevelWithoutAllocation) {
    const std::size_t atFirst = allocationCount();
    const auto seen = std::make_unique<int>(1);
    const std::size_t before = allocationCount();
    ASSERT_EQ(before, atFirst + 1) << "allocationCount() must count allocations";
    bool any = false;
    for (ZilTraceLevel level = 4; level < 100; ++level) {
        any = any || m_channel.isEnabled(level);
    }
    EXPECT_EQ(allocationCount(), before);
    EXPECT_FALSE(any);
}

TEST_F(Channel, PassesAnEntryWithoutTextToTheSink) {
    m_channel.logEnterMsg(2, anyHeader);
    ASSERT_EQ(m_sink.entries().size(), 1U);
    const RecordingSink::Entry entry = m_sink.entries()[0];
    EXPECT_EQ(entry.record.kind, Kind::Enter);
    EXPECT_EQ(entry.record.level, 2);
    EXPECT_EQ(entry.record.option, 256);
    EXPECT_EQ(entry.record.text, nullptr);
    EXPECT_EQ(entry.record.header, &anyHeader);
    EXPECT_EQ(entry.channel, "Test.Channel");
}

TEST_F(Channel, PassesAnEntryWithTextToTheSink) {
    m_channel.logEnterMsg(1, anyHeader, "items=3");
    ASSERT_EQ(m_sink.entries().size(), 1U);
    EXPECT_EQ(m_sink.entries()[0].record.kind, Kind::Enter);
    EXPECT_EQ(m_sink.entries()[0].text, "items=3");
}

TEST_F(Channel, PassesAMessageToTheSink) {
    m_channel.logMsg(1, anyHeader, "No match");
    ASSERT_EQ(m_sink.entries().size(), 1U);
    EXPECT_EQ(m_sink.entries()[0].record.kind, Kind::Message);
    EXPECT_EQ(m_sink.entries()[0].text, "No match");
}

TEST_F(Channel, TreatsANullTextAsNoText) {
    m_channel.logEnterMsg(1, anyHeader, nullptr);
    m_channel.logMsg(1, anyHeader, nullptr);
    ASSERT_EQ(m_sink.entries().size(), 2U);
    EXPECT_EQ(m_sink.entries()[0].record.text, nullptr);
    EXPECT_NE(m_sink.entries()[1].record.text, nullptr);
    EXPECT_EQ(m_sink.entries()[1].text, "");
}

TEST_F(Channel, DoesNotFilter) {
    ASSERT_FALSE(m_channel.isEnabled(7));
    m_channel.logEnterMsg(7, anyHeader);
    m_channel.logEnterMsg(7, anyHeader, "a");
    m_channel.logMsg(7, anyHeader, "b");
    EXPECT_EQ(m_sink.entries().size(), 3U);
}

TEST_F(Channel, StampsTheTimeAndTheThread) {
    const auto before = std::chrono::system_clock::now();
    pid_t threadId = 0;
    std::thread([&] {
        threadId = gettid();
        m_channel.logMsg(1, anyHeader, "x");
    }).join();
    const auto after = std::chrono::system_clock::now();
    ASSERT_EQ(m_sink.entries().size(), 1U);
    const Record record = m_sink.entries()[0].record;
    EXPECT_LE(before, record.time);
    EXPECT_LE(record.time, after);
    EXPECT_EQ(record.threadId, threadId);
    EXPECT_NE(record.threadId, gettid());
}

TEST_F(Channel, KeepsErrnoWhateverTheSinkDoes) {
    ThrowingSink sink;
    ZilTraceControl::setSink(&sink);
    errno = EBADF;
    m_channel.logMsg(1, anyHeader, "x");
    EXPECT_EQ(errno, EBADF);
    m_channel.logEnterMsg(1, anyHeader);
    EXPECT_EQ(errno, EBADF);
    m_channel.logEnterMsg(1, anyHeader, "x");
    EXPECT_EQ(errno, EBADF);
    ZilTraceControl::setSink(nullptr);
}

TEST_F(Channel, KeepsErrnoWhenAWriteFails) {
    ZilTraceControl::setSink(nullptr);
    const WriteTap tap([](int, const void*, std::size_t) {
        errno = ENOSPC;
        return -1;
    });
    errno = EBADF;
    m_channel.logMsg(1, anyHeader, "x");
    EXPECT_EQ(errno, EBADF);
    EXPECT_EQ(tap.calls().size(), 1U);
}

TEST_F(Channel, ContinuesAfterASinkThrows) {
    ThrowingSink sink;
    ZilTraceControl::setSink(&sink);
    m_channel.logMsg(1, anyHeader, "lost");
    ZilTraceControl::setSink(&m_sink);
    m_channel.logMsg(1, anyHeader, "kept");
    EXPECT_EQ(m_sink.texts(), std::vector<std::string>{"kept"});
}

TEST_F(Channel, DropsMessagesThatTheSinkTraces) {
    TracingSink sink;
    ZilTraceControl::setSink(&sink);
    m_channel.logMsg(1, anyHeader, "x");
    m_channel.logMsg(1, anyHeader, "y");
    ZilTraceControl::setSink(nullptr);
    EXPECT_EQ(sink.calls, 2);
}

struct CanceledThread {
    ZilTrace& channel;
    bool returned;
};

void* traceWhenCanceled(void* argument) {
    auto& thread = *static_cast<CanceledThread*>(argument);
    pthread_cancel(pthread_self());
    thread.channel.logMsg(1, anyHeader, "x");
    thread.returned = true;
    pthread_testcancel();
    return nullptr;
}

TEST_F(Channel, IsNotACancellationPoint) {
    ZilTraceControl::setSink(nullptr);
    configure("sink=file:/dev/null");
    CanceledThread thread{m_channel, false};
    pthread_t id{};
    ASSERT_EQ(pthread_create(&id, nullptr, traceWhenCanceled, &thread), 0);
    void* result = nullptr;
    pthread_join(id, &result);
    EXPECT_TRUE(thread.returned);
    EXPECT_EQ(result, PTHREAD_CANCELED);
}

} // namespace
