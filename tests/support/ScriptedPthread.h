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

/** The name of the function in C. */
const char* nameOf(MutexCall call);

/**
 * Records the mutex calls of the constructing thread, and makes those fail that a test selects. The test program
 * defines these functions itself. Every other call is forwarded to the C library.
 *
 * Recorded forms: the function's name, with the default attributes or a protocol in brackets where there is one, as in
 * "pthread_mutex_init(default)", "pthread_mutexattr_setprotocol(1)".
 */
class ScriptedPthread {
public:
    ScriptedPthread();
    ScriptedPthread(const ScriptedPthread&) = delete;
    ScriptedPthread& operator=(const ScriptedPthread&) = delete;
    ~ScriptedPthread();

    static ScriptedPthread* current();

    /** Makes every call of the function fail with the error. The test fails at its end if no call has failed. */
    void fail(MutexCall call, int error);

    /** Makes every call succeed again. */
    void succeed() { m_failures.clear(); }

    /** Records a call. Returns the error that a test has set for it, or 0. */
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
