// SPDX-License-Identifier: MIT
#include <atomic>
#include <cstdlib>
#include <future>
#include <string>
#include <thread>
#include <vector>

#include "Runtime.h"
#include "support/Child.h"
#include "support/TraceFixture.h"

namespace {

class Fork : public TraceFixture {
protected:
    int useEverything() {
        std::string error;
        RecordingSink sink;
        ZilTraceControl::setSink(&sink);
        const bool configured = ZilTraceControl::configure("Test.Fork=5,sink=file:/dev/null", error);
        m_channel.logMsg(1, anyHeader, "from the child");
        ZilTraceControl::setSink(nullptr);
        const bool traced = sink.texts() == std::vector<std::string>{"from the child"};
        return configured && traced && m_channel.isEnabled(5) ? 0 : 1;
    }

    ZilTrace m_channel{"Test.Fork", 3, 256};
};

class BlockingSink : public ZilTraceControl::Sink {
public:
    void write(const ZilTraceControl::Record&) override {
        m_entered.set_value();
        m_release.get_future().wait();
    }

    void awaitEntry() { m_entered.get_future().wait(); }
    void release() { m_release.set_value(); }

private:
    std::promise<void> m_entered;
    std::promise<void> m_release;
};

TEST_F(Fork, LetsAChildTraceLikeItsParent) {
    EXPECT_EQ(runInChild([this] { std::exit(useEverything()); }).exitCode, 0);
    EXPECT_EQ(useEverything(), 0);
}

TEST_F(Fork, DoesNotMakeAChildWaitForThreadsThatUseASinkInItsParent) {
    BlockingSink sink;
    ZilTraceControl::setSink(&sink);
    std::thread tracer([this] { m_channel.logMsg(1, anyHeader, "x"); });
    sink.awaitEntry();
    const pid_t child = forkChild([this] { return useEverything(); });
    EXPECT_EQ(exitCodeOf(child), 0);
    sink.release();
    tracer.join();
    ZilTraceControl::setSink(nullptr);
}

TEST_F(Fork, LetsAChildChangeWhatItsParentWasChanging) {
    configure("sink=file:/dev/null");
    std::atomic<bool> stop{false};
    std::thread changer([&stop] {
        for (ZilTraceLevel level = 0; !stop; level = (level + 1) % 8) {
            ZilTraceControl::setLevel("Test.Fork", level);
            ZilTraceControl::setSink(nullptr);
        }
    });
    for (int i = 0; i < 50; ++i) {
        EXPECT_EQ(exitCodeOf(forkChild([this] { return useEverything(); })), 0);
    }
    stop = true;
    changer.join();
}

bool canBeChanged(ziltrace::Runtime& runtime) {
    std::string error;
    return runtime.setSink(nullptr) == nullptr && runtime.configure("*=1,sink=file:/dev/null", error);
}

TEST(RuntimeAroundAFork, CanBeChangedAgainInBothProcesses) {
    ziltrace::Runtime runtime;
    runtime.prepareFork();
    runtime.resumeParent();
    EXPECT_TRUE(canBeChanged(runtime));
    runtime.prepareFork();
    runtime.resumeChild();
    EXPECT_TRUE(canBeChanged(runtime));
}

} // namespace
