#ifndef RYNVEL_TESTS_SCRIPTEDPTHREAD_H
#define RYNVEL_TESTS_SCRIPTEDPTHREAD_H

#include <map>
#include <string>

#include "EventLog.h"

namespace RynvelTest {

/**
 * Records the mutex calls of the constructing thread while it lives, and fails those that it is told to. The calls
 * reach it because the test program defines the functions itself; what does not fail goes on to the C library.
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

    /** Lets every call of the function fail with the error. */
    void fail(const std::string& function, int error) { m_errors[function] = error; }

    /** Records a call and returns the error it is to fail with, or 0. */
    int record(const std::string& function, const std::string& arguments = "");

    EventLog& log() { return m_log; }
    void clear() { m_log.clear(); }

private:
    EventLog m_log;
    std::map<std::string, int> m_errors;
};

} // namespace RynvelTest

#endif
