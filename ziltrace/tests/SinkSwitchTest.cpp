// SPDX-License-Identifier: MIT
#include "SinkSwitch.h"

#include <memory>
#include <utility>

#include <gtest/gtest.h>

#include "support/TraceFixture.h"

using ziltrace::SinkSwitch;
using ziltrace::WriterPreferringMutex;

namespace {

class SinkThatReportsDestruction : public RecordingSink {
public:
    explicit SinkThatReportsDestruction(bool& ended) : m_ended(ended) {}
    ~SinkThatReportsDestruction() override { m_ended = true; }

private:
    bool& m_ended;
};

TEST(WriterPreferringMutex, CanBeLockedAfterAReset) {
    WriterPreferringMutex mutex;
    mutex.lock_shared();
    mutex.lock_shared();
    mutex.reset();
    mutex.lock();
    mutex.unlock();
}

TEST(SinkSwitch, KeepsTheConfiguredSinkWhileItIsOverridden) {
    SinkSwitch sinks;
    bool ended = false;
    auto configured = std::make_unique<SinkThatReportsDestruction>(ended);
    RecordingSink& underneath = *configured;
    RecordingSink above;
    sinks.setOverride(&above);
    sinks.setConfigured(std::move(configured));
    const ZilTraceControl::Record record{ZilTraceControl::Kind::Message, "A", 1, 0, &anyHeader, "x", {}, 1};
    sinks.write(record);
    sinks.setOverride(nullptr);
    sinks.write(record);
    EXPECT_EQ(above.entries().size(), 1U);
    EXPECT_EQ(underneath.entries().size(), 1U);
    EXPECT_FALSE(ended);
}

TEST(SinkSwitch, DestroysAConfiguredSinkThatIsReplaced) {
    SinkSwitch sinks;
    bool ended = false;
    sinks.setConfigured(std::make_unique<SinkThatReportsDestruction>(ended));
    EXPECT_FALSE(ended);
    sinks.setConfigured(std::make_unique<RecordingSink>());
    EXPECT_TRUE(ended);
}

} // namespace
