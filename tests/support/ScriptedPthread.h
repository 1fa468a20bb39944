/* SPDX-License-Identifier: MIT */
#ifndef RYNVEL_TESTS_SCRIPTEDPTHREAD_H
#define RYNVEL_TESTS_SCRIPTEDPTHREAD_H

#include <map>
#include <string>

#include "EventLog.h"

namespace RynvelTest {

/** The functions that a test can make fail. */
enum class MutexCall {
    Init,
    Destroy,
    AttributesInit,
    AttributesSetProtocol,
    AttributesDestroy,
    Lock,
    Unlock,
};

/** Returns the name of the function in C. */
const char* nameOf(MutexCall call);

/**
 * A recorder of the mutex calls of the thread that constructs the object. A test selects the functions that fail. Calls
 * of functions that the test has not selected reach the C library. The test program replaces all functions of
 * MutexCall.
 *
 * Recorded form: the name of the function. "(default)" or "(attributes)" follows pthread_mutex_init. The protocol
 * follows pthread_mutexattr_setprotocol, as in "pthread_mutexattr_setprotocol(1)".
 */
class ScriptedPthread {
public:
    ScriptedPthread();
    ScriptedPthread(const ScriptedPthread&) = delete;
    ScriptedPthread& operator=(const ScriptedPthread&) = delete;
    ~ScriptedPthread();

    static ScriptedPthread* current();

    /** Makes every call of the function fail with the error. The test fails at its end if there was no call. */
    void fail(MutexCall call, int error);

    /** Makes every call succeed again. */
    void succeed() { m_failures.clear(); }

    /** Records a call. Returns the error that a test has set for the function, or 0. */
    int record(MutexCall call, const std::string& arguments = "");

    EventLog& log() { return m_log; }
    void clear() { m_log.clear(); }

private:
    struct Failure {
        int error;
        bool unused;
    };

    EventLog m_log;
    std::map<MutexCall, Failure> m_failures;
};

} // namespace RynvelTest

#endif
