// SPDX-License-Identifier: MIT
#include "ScriptedPthread.h"

#include <cerrno>

#include <pthread.h>

#include <gtest/gtest.h>

#include "FailsAtItsEnd.h"

namespace {

using namespace RynvelTest;

using UnusedErrors = FailsAtItsEnd;

void useAMutex() {
    pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
    if (pthread_mutex_lock(&mutex) == 0) {
        pthread_mutex_unlock(&mutex);
    }
}

TEST_F(UnusedErrors, FailTheTest) {
    {
        ScriptedPthread script;
        script.fail(MutexCall::Lock, EDEADLK);
        script.fail(MutexCall::Unlock, EPERM);
        useAMutex();
    }
    expectFailure("unused answers of pthread_mutex_unlock: 1");
}

TEST_F(UnusedErrors, FailTheTestEvenIfAnotherErrorFollowsOrTheCallSucceedsAgain) {
    {
        ScriptedPthread script;
        script.fail(MutexCall::Lock, EDEADLK);
        script.fail(MutexCall::Lock, EAGAIN);
        useAMutex();
        script.fail(MutexCall::Lock, EDEADLK);
        script.succeed();
        useAMutex();
    }
    expectFailure("unused answers of pthread_mutex_lock: 2");
}

TEST_F(UnusedErrors, DoNotIncludeThoseThatACallHasReturned) {
    ScriptedPthread script;
    script.fail(MutexCall::Lock, EDEADLK);
    useAMutex();
    useAMutex();
}

} // namespace
