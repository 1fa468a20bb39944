#include "rynvel/PthreadMutex.h"

#include "RynvelTrace.h"

namespace Rynvel {

ZilTrace PthreadMutex::m_trace("Rynvel.PthreadMutex", channelLevel, channelHeaderOption);

IMutex::~IMutex() = default;

PthreadMutex::PthreadMutex(PthreadMutexType type) {
    RYNVEL_ENTER();
    const char* const function = __func__;
    if (type != PthreadMutexType::PriorityInherit) {
        succeeded(pthread_mutex_init(&m_mutex, nullptr), "pthread_mutex_init", function, "");
        return;
    }
    pthread_mutexattr_t attributes;
    // A failure leaves the attributes as they are: only a mutex that was made destroys them.
    static_cast<void>(succeeded(pthread_mutexattr_init(&attributes), "pthread_mutexattr_init", function, "") &&
                      succeeded(pthread_mutexattr_setprotocol(&attributes, static_cast<int>(type)),
                                "pthread_mutexattr_setprotocol", function, "") &&
                      succeeded(pthread_mutex_init(&m_mutex, &attributes), "pthread_mutex_init", function, "") &&
                      succeeded(pthread_mutexattr_destroy(&attributes), "pthread_mutexattr_destroy", function, ""));
}

PthreadMutex::~PthreadMutex() {
    RYNVEL_ENTER();
    pthread_mutex_destroy(&m_mutex);
}

bool PthreadMutex::lock() {
    RYNVEL_MESSAGE(TraceLevel::highRate, "ENTER");
    return succeeded(pthread_mutex_lock(&m_mutex), "pthread_mutex_lock", __func__, ".");
}

bool PthreadMutex::unlock() {
    RYNVEL_MESSAGE(TraceLevel::highRate, "ENTER");
    return succeeded(pthread_mutex_unlock(&m_mutex), "pthread_mutex_unlock", __func__, ".");
}

bool PthreadMutex::succeeded(int error, const char* call, const char* function, const char* end) {
    if (error == 0) {
        return true;
    }
    RYNVEL_MESSAGE_AS(function, TraceLevel::failure, call, "() failed with error ", error, end);
    return false;
}

} // namespace Rynvel
