// SPDX-License-Identifier: MIT
#include "PthreadMutex.h"

#include <cstring>

#include "RynvelTrace.h"

namespace Rynvel {

ZilTrace PthreadMutex::m_trace("Rynvel.PthreadMutex", channelLevel, channelHeaderOption);

IMutex::~IMutex() = default;

PthreadMutex::PthreadMutex(PthreadMutexType type) {
    RYNVEL_ENTER();
    RYNVEL_TRACE_POINT(here);
    // If the initialization fails, lock() and unlock() must fail. These bytes are not a valid mutex, so both fail.
    std::memset(&m_mutex, 0xFF, sizeof(m_mutex));
    if (type != PthreadMutexType::PriorityInherit) {
        succeeded(pthread_mutex_init(&m_mutex, nullptr), "pthread_mutex_init", here);
        return;
    }
    pthread_mutexattr_t attributes;
    // A failed call ends the sequence, so the attributes are destroyed only if all earlier calls succeed.
    static_cast<void>(succeeded(pthread_mutexattr_init(&attributes), "pthread_mutexattr_init", here) &&
                      succeeded(pthread_mutexattr_setprotocol(&attributes, static_cast<int>(type)),
                                "pthread_mutexattr_setprotocol", here) &&
                      succeeded(pthread_mutex_init(&m_mutex, &attributes), "pthread_mutex_init", here) &&
                      succeeded(pthread_mutexattr_destroy(&attributes), "pthread_mutexattr_destroy", here));
}

PthreadMutex::~PthreadMutex() {
    RYNVEL_ENTER();
    pthread_mutex_destroy(&m_mutex);
}

bool PthreadMutex::lock() {
    RYNVEL_MESSAGE(TraceLevel::highRate, "ENTER");
    return take();
}

bool PthreadMutex::unlock() {
    RYNVEL_MESSAGE(TraceLevel::highRate, "ENTER");
    return release();
}

bool PthreadMutex::report(int error, const char* call, const ZilTraceHeader& caller) {
    RYNVEL_MESSAGE_AT(caller, TraceLevel::failure, call, "() failed with error ", error, ".");
    return false;
}

// The messages of the constructor have no full stop, unlike the messages of lock() and unlock().
bool PthreadMutex::succeeded(int error, const char* call, const ZilTraceHeader& caller) {
    if (error == 0) {
        return true;
    }
    RYNVEL_MESSAGE_AT(caller, TraceLevel::failure, call, "() failed with error ", error);
    return false;
}

} // namespace Rynvel
