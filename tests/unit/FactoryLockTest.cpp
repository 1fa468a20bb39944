// SPDX-License-Identifier: MIT
#include <rynvel.h>
#include <rynvel.hpp>

#include <cerrno>
#include <fstream>
#include <system_error>

#include <gtest/gtest.h>

#include "ScriptedPthread.h"
#include "TraceRecorder.h"

// These tests use a library whose device table is TestDeviceRows.inc.

namespace {

using Rynvel::Factory;
using namespace RynvelTest;

TEST(FactoryLock, PropagatesTheErrorWhenItCannotBeTaken) {
    Factory& factory = Factory::getInstance();
    const TraceRecorder recorder(0);
    ScriptedPthread script;
    script.fail(MutexCall::Lock, EDEADLK);
    EXPECT_THROW(factory.create("file16"), std::system_error);
    EXPECT_THROW(Rynvel_open("file16"), std::system_error);
    EXPECT_EQ(factory.getBackend(6), nullptr);
}

TEST(FactoryLock, IsHeldWhileTheDeviceIsBuiltWithAPlainMutex) {
    std::ofstream("registers8") << "registers";
    Factory& factory = Factory::getInstance();
    EventLog events;
    {
        ScriptedPthread script;
        const TraceRecorder recorder(4, "Rynvel.Factory", &script.log());
        script.clear();
        factory.create("file8");
        events = script.log();
    }
    EXPECT_EQ(events, (EventLog{"pthread_mutex_lock", "pthread_mutex_init(default)",
                                "Rynvel.Factory 4 createDevice: Device \"file8\" created.", "pthread_mutex_unlock"}));
}

TEST(FactoryLock, IsNotTakenForAnUnknownName) {
    Factory& factory = Factory::getInstance();
    const TraceRecorder recorder(0);
    ScriptedPthread script;
    EXPECT_EQ(factory.create("unknown"), nullptr);
    EXPECT_EQ(script.log(), EventLog{});
}

TEST(FactoryLock, IsNotTakenByLookups) {
    Factory& factory = Factory::getInstance();
    const TraceRecorder recorder(0);
    ScriptedPthread script;
    EXPECT_EQ(factory.getHandle(nullptr), 0);
    EXPECT_EQ(factory.getBackend8(1), nullptr);
    EXPECT_EQ(factory.makeUnique8("lseek32", nullptr), nullptr);
    EXPECT_EQ(script.log(), EventLog{});
}

} // namespace
