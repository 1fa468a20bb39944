// SPDX-License-Identifier: MIT
#include <rynvel.hpp>

#include <cerrno>
#include <cstring>
#include <mutex>
#include <new>
#include <thread>

#include <pthread.h>

#include <gtest/gtest.h>

#include "ScriptedPthread.h"
#include "TraceRecorder.h"

namespace {

using Rynvel::PthreadMutex;
using Rynvel::PthreadMutexType;
using namespace RynvelTest;

const EventLog callsOfPriorityInheritance{"pthread_mutexattr_init", "pthread_mutexattr_setprotocol(1)",
                                          "pthread_mutex_init(attributes)", "pthread_mutexattr_destroy"};

EventLog callsOfConstruction(PthreadMutexType type) {
    ScriptedPthread script;
    const PthreadMutex mutex(type);
    return script.log();
}

/** Expects a construction to stop at the call with the index `failing`, which fails, and to trace the failure. */
void expectConstructionToStopAt(std::size_t failing, MutexCall call) {
    const std::string function = nameOf(call);
    const TraceRecorder recorder(1);
    EventLog calls;
    {
        ScriptedPthread script;
        script.fail(call, EPERM);
        const PthreadMutex mutex(PthreadMutexType::PriorityInherit);
        calls = script.log();
    }
    EXPECT_EQ(calls, EventLog(callsOfPriorityInheritance.begin(),
                              callsOfPriorityInheritance.begin() + static_cast<std::ptrdiff_t>(failing) + 1));
    EXPECT_EQ(recorder.lines(), EventLog{"Rynvel.PthreadMutex 1 PthreadMutex: " + function + "() failed with error " +
                                         std::to_string(EPERM)});
}

TEST(PthreadMutex, MakesADefaultMutexAndNoAttributeCallsForAnyTypeExceptPriorityInherit) {
    for (const auto type : {PthreadMutexType::None, static_cast<PthreadMutexType>(-1), static_cast<PthreadMutexType>(2),
                            static_cast<PthreadMutexType>(0x7FFFFFFF)}) {
        EXPECT_EQ(callsOfConstruction(type), EventLog{"pthread_mutex_init(default)"});
    }
}

TEST(PthreadMutex, MakesTheFourCallsInOrderForTypePriorityInherit) {
    EXPECT_EQ(static_cast<int>(PthreadMutexType::PriorityInherit), PTHREAD_PRIO_INHERIT);
    EXPECT_EQ(callsOfConstruction(PthreadMutexType::PriorityInherit), callsOfPriorityInheritance);
}

TEST(PthreadMutex, StopsItsConstructionAtTheFirstFailureAndTracesItWithoutAFullStop) {
    expectConstructionToStopAt(0, MutexCall::AttributesInit);
    expectConstructionToStopAt(1, MutexCall::AttributesSetProtocol);
    expectConstructionToStopAt(2, MutexCall::Init);
    expectConstructionToStopAt(3, MutexCall::AttributesDestroy);
}

TEST(PthreadMutex, TracesAFailedDefaultMutex) {
    const TraceRecorder recorder(1);
    {
        ScriptedPthread script;
        script.fail(MutexCall::Init, ENOMEM);
        const PthreadMutex mutex(PthreadMutexType::None);
    }
    EXPECT_EQ(recorder.lines(), EventLog{"Rynvel.PthreadMutex 1 PthreadMutex: pthread_mutex_init() failed with error " +
                                         std::to_string(ENOMEM)});
}

TEST(PthreadMutex, LocksAndUnlocks) {
    PthreadMutex mutex(PthreadMutexType::None);
    ScriptedPthread script;
    EXPECT_TRUE(mutex.lock());
    EXPECT_TRUE(mutex.unlock());
    EXPECT_EQ(script.log(), (EventLog{"pthread_mutex_lock", "pthread_mutex_unlock"}));
}

TEST(PthreadMutex, ReportsAFailureWithOneMessageThatEndsWithAFullStop) {
    PthreadMutex mutex(PthreadMutexType::None);
    for (const bool locks : {true, false}) {
        const TraceRecorder recorder(6);
        bool succeeded = true;
        errno = ERANGE;
        {
            ScriptedPthread script;
            script.fail(locks ? MutexCall::Lock : MutexCall::Unlock, EDEADLK);
            succeeded = locks ? mutex.lock() : mutex.unlock();
        }
        EXPECT_FALSE(succeeded);
        EXPECT_EQ(errno, ERANGE);
        const std::string function = locks ? "lock" : "unlock";
        EXPECT_EQ(recorder.lines(), EventLog{"Rynvel.PthreadMutex 1 " + function + ": pthread_mutex_" + function +
                                             "() failed with error " + std::to_string(EDEADLK) + "."});
    }
}

TEST(PthreadMutex, TracesNoFailuresWhenLevelOneIsOff) {
    PthreadMutex mutex(PthreadMutexType::None);
    const TraceRecorder recorder(0);
    ScriptedPthread script;
    script.fail(MutexCall::Lock, EDEADLK);
    EXPECT_FALSE(mutex.lock());
    EXPECT_EQ(recorder.lines(), EventLog{});
}

TEST(PthreadMutex, TracesItsConstructionAndDestructionAtLevelSix) {
    const TraceRecorder recorder(6);
    {
        PthreadMutex mutex(PthreadMutexType::PriorityInherit);
        mutex.lock();
        mutex.unlock();
    }
    EXPECT_EQ(recorder.lines(),
              (EventLog{"Rynvel.PthreadMutex 6 PthreadMutex ENTER", "Rynvel.PthreadMutex 6 ~PthreadMutex ENTER"}));
    for (const auto& trace : recorder.traces()) {
        EXPECT_EQ(trace.file, "cppsrc/PthreadMutex");
        EXPECT_EQ(trace.option, 256);
    }
}

TEST(PthreadMutex, TracesBeforeItsCalls) {
    EventLog calls;
    {
        ScriptedPthread script;
        const TraceRecorder recorder(7, "*", &script.log());
        script.clear();
        {
            PthreadMutex mutex(PthreadMutexType::None);
            mutex.lock();
            mutex.unlock();
        }
        calls = script.log();
    }
    const std::string channel = "Rynvel.PthreadMutex ";
    EXPECT_EQ(calls, (EventLog{channel + "6 PthreadMutex ENTER", "pthread_mutex_init(default)",
                               channel + "7 lock: ENTER", "pthread_mutex_lock", channel + "7 unlock: ENTER",
                               "pthread_mutex_unlock", channel + "6 ~PthreadMutex ENTER", "pthread_mutex_destroy"}));
}

// This test uses mutexes that are not initialized. The thread sanitizer would report them.
#ifndef __SANITIZE_THREAD__

/** Expects lock() and unlock() to fail after a failed construction, in memory that was filled with a byte before. */
void expectFailuresAfterAFailedConstruction(MutexCall failing, PthreadMutexType type, std::uint8_t memory) {
    alignas(PthreadMutex) unsigned char place[sizeof(PthreadMutex)];
    std::memset(place, memory, sizeof(place));
    const TraceRecorder recorder(1);
    PthreadMutex* mutex = nullptr;
    {
        ScriptedPthread script;
        script.fail(failing, EAGAIN);
        mutex = new (place) PthreadMutex(type);
    }
    EXPECT_FALSE(mutex->lock()) << nameOf(failing) << ' ' << int{memory};
    EXPECT_FALSE(mutex->unlock()) << nameOf(failing) << ' ' << int{memory};
    const std::string end = "() failed with error " + std::to_string(EINVAL) + ".";
    const auto lines = recorder.lines();
    EXPECT_EQ(EventLog(lines.begin() + 1, lines.end()),
              (EventLog{"Rynvel.PthreadMutex 1 lock: pthread_mutex_lock" + end,
                        "Rynvel.PthreadMutex 1 unlock: pthread_mutex_unlock" + end}));
    mutex->~PthreadMutex();
}

TEST(PthreadMutex, ReportsItsOwnFailuresAfterAFailedConstruction) {
    for (const auto memory : {std::uint8_t{0x00}, std::uint8_t{0x01}, std::uint8_t{0xFF}}) {
        expectFailuresAfterAFailedConstruction(MutexCall::Init, PthreadMutexType::None, memory);
        for (const auto failing : {MutexCall::AttributesInit, MutexCall::AttributesSetProtocol, MutexCall::Init}) {
            expectFailuresAfterAFailedConstruction(failing, PthreadMutexType::PriorityInherit, memory);
        }
    }
}

#endif

TEST(PthreadMutex, DestroysItsMutexAndIgnoresTheResult) {
    const TraceRecorder recorder(5);
    EventLog calls;
    {
        ScriptedPthread script;
        script.fail(MutexCall::Destroy, EBUSY);
        {
            const PthreadMutex mutex(PthreadMutexType::None);
            script.clear();
        }
        calls = script.log();
    }
    EXPECT_EQ(calls, EventLog{"pthread_mutex_destroy"});
    EXPECT_EQ(recorder.lines(), EventLog{});
}

TEST(PthreadMutex, ServesALockGuardOnItsInterfaceAndKeepsThreadsApart) {
    PthreadMutex mutex(PthreadMutexType::None);
    int counter = 0;
    const auto count = [&] {
        for (int i = 0; i < 1000; ++i) {
            const std::lock_guard<Rynvel::IMutex> lock(mutex);
            ++counter;
        }
    };
    std::thread other(count);
    count();
    other.join();
    EXPECT_EQ(counter, 2000);
}

} // namespace
