// SPDX-License-Identifier: MIT
#include <rynvel.hpp>

#include <cerrno>
#include <initializer_list>
#include <memory>
#include <string>
#include <utility>

#include <gtest/gtest.h>

#include "PlainMutex.h"
#include "RecordingMutex.h"
#include "ScriptedPthread.h"
#include "StoredResults.h"
#include "TraceRecorder.h"

// Tests the lock of a device with the register operations that take the lock.

namespace {

using Rynvel::PthreadMutex;
using Rynvel::PthreadMutexType;
using namespace RynvelTest;

/** A mutex that counts its calls. An application may derive such a class from the mutex of the library. */
class CountingMutex : public PthreadMutex {
public:
    explicit CountingMutex(int& calls) : PthreadMutex(PthreadMutexType::None), m_calls(calls) {}

    bool lock() override {
        ++m_calls;
        return PthreadMutex::lock();
    }

    bool unlock() override {
        ++m_calls;
        return PthreadMutex::unlock();
    }

private:
    int& m_calls;
};

std::unique_ptr<Rynvel::Device32> memoryWith(std::unique_ptr<Rynvel::IMutex> mutex) {
    return std::make_unique<Rynvel::Mmap<std::uint32_t>>("memory", 0, 4096, std::move(mutex), true);
}

/** Returns the mutex calls and traces of one write. All calls of the functions in `failing` fail. */
EventLog eventsOfAWrite(Rynvel::Device32& device, int level, std::initializer_list<MutexCall> failing = {}) {
    ScriptedPthread script;
    const TraceRecorder recorder(level, "Rynvel.PthreadMutex", &script.log());
    script.clear();
    for (const MutexCall call : failing) {
        script.fail(call, EDEADLK);
    }
    EXPECT_TRUE(device.write(0, 7U));
    const EventLog events = script.log();
    // The destructor of the recorder also calls these functions, and must not fail.
    script.succeed();
    return events;
}

const auto bothCalls = {MutexCall::Lock, MutexCall::Unlock};

TEST(DeviceLock, LocksAndUnlocksTheLibrarysMutexOnce) {
    const auto device = memoryWith(plainMutex());
    EXPECT_EQ(eventsOfAWrite(*device, 6), (EventLog{"pthread_mutex_lock", "pthread_mutex_unlock"}));
}

TEST(DeviceLock, TracesTheEntriesOfTheLibrarysMutexAtLevelSeven) {
    const auto device = memoryWith(plainMutex());
    EXPECT_EQ(eventsOfAWrite(*device, 7), (EventLog{"Rynvel.PthreadMutex 7 lock: ENTER", "pthread_mutex_lock",
                                                    "Rynvel.PthreadMutex 7 unlock: ENTER", "pthread_mutex_unlock"}));
}

TEST(DeviceLock, TracesEachFailureOfTheLibrarysMutexOnceAndContinuesTheAccess) {
    const std::string end = "() failed with error " + std::to_string(EDEADLK) + ".";
    const std::string channel = "Rynvel.PthreadMutex ";
    const EventLog failures{"pthread_mutex_lock", channel + "1 lock: pthread_mutex_lock" + end, "pthread_mutex_unlock",
                            channel + "1 unlock: pthread_mutex_unlock" + end};
    EventLog entriesAndFailures = failures;
    entriesAndFailures.insert(entriesAndFailures.begin() + 2, channel + "7 unlock: ENTER");
    entriesAndFailures.insert(entriesAndFailures.begin(), channel + "7 lock: ENTER");
    const auto device = memoryWith(plainMutex());
    EXPECT_EQ(eventsOfAWrite(*device, 1, bothCalls), failures);
    EXPECT_EQ(eventsOfAWrite(*device, 6, bothCalls), failures);
    EXPECT_EQ(eventsOfAWrite(*device, 7, bothCalls), entriesAndFailures);
    EXPECT_EQ(readFrom(*device), std::pair(true, 7U));
}

TEST(DeviceLock, TracesNoFailureWhenLevelOneIsOff) {
    const auto device = memoryWith(plainMutex());
    EXPECT_EQ(eventsOfAWrite(*device, 0, bothCalls), (EventLog{"pthread_mutex_lock", "pthread_mutex_unlock"}));
}

TEST(DeviceLock, NamesTheMutexsSourceInItsTraces) {
    const auto device = memoryWith(plainMutex());
    const TraceRecorder recorder(7, "Rynvel.PthreadMutex");
    device->write(0, 7U);
    for (const auto& trace : recorder.traces()) {
        EXPECT_EQ(trace.file, "cppsrc/PthreadMutex");
    }
    EXPECT_EQ(recorder.traces().size(), 2U);
}

TEST(DeviceLock, CallsTheOperationsOfAMutexThatIsDerivedFromTheLibrarys) {
    int calls = 0;
    const auto device = memoryWith(std::make_unique<CountingMutex>(calls));
    EXPECT_EQ(eventsOfAWrite(*device, 6), (EventLog{"pthread_mutex_lock", "pthread_mutex_unlock"}));
    EXPECT_EQ(calls, 2);
}

TEST(DeviceLock, CallsTheOperationsOfACallersMutexAndIgnoresTheirResults) {
    for (const bool answer : {true, false}) {
        EventLog log;
        {
            const auto device = memoryWith(std::make_unique<RecordingMutex>(log, answer));
            EXPECT_EQ(eventsOfAWrite(*device, 7), EventLog{});
        }
        EXPECT_EQ(log, (EventLog{"lock", "unlock", "mutex destroyed"}));
    }
}

} // namespace
