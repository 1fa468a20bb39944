#include <cerrno>
#include <system_error>

#include <gtest/gtest.h>
#include <rynvel.h>
#include <rynvel.hpp>

#include "ScriptedPthread.h"
#include "TraceRecorder.h"

namespace {

using Rynvel::Factory;
using RynvelTest::ScriptedPthread;
using RynvelTest::TraceRecorder;

TEST(FactoryLock, LetsTheErrorPassWhenItCannotBeTaken) {
    Factory& factory = Factory::getInstance();
    const TraceRecorder recorder(0);
    ScriptedPthread script;
    script.fail("pthread_mutex_lock", EDEADLK);
    EXPECT_THROW(factory.create("common.idt"), std::system_error);
    EXPECT_THROW(Rynvel_open("common.idt"), std::system_error);
    EXPECT_EQ(factory.getBackend(28), nullptr);
}

TEST(FactoryLock, IsNotTakenForANameThatIsUnknown) {
    Factory& factory = Factory::getInstance();
    const TraceRecorder recorder(0);
    ScriptedPthread script;
    EXPECT_EQ(factory.create("unknown"), nullptr);
    EXPECT_EQ(script.log(), RynvelTest::EventLog{});
}

TEST(FactoryLock, IsNotTakenByLookups) {
    Factory& factory = Factory::getInstance();
    const TraceRecorder recorder(0);
    ScriptedPthread script;
    EXPECT_EQ(factory.getHandle(nullptr), 0);
    EXPECT_EQ(factory.getBackend8(3), nullptr);
    EXPECT_EQ(factory.makeUnique8("rtc0", nullptr), nullptr);
    EXPECT_EQ(script.log(), RynvelTest::EventLog{});
}

} // namespace
