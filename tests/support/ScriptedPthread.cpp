#include "ScriptedPthread.h"

#include <dlfcn.h>
#include <pthread.h>

namespace RynvelTest {

namespace {

__thread ScriptedPthread* currentPthread = nullptr;

/** Lets the calls that recording itself makes pass. */
class Pause {
public:
    Pause() : m_paused(currentPthread) { currentPthread = nullptr; }
    Pause(const Pause&) = delete;
    Pause& operator=(const Pause&) = delete;
    ~Pause() { currentPthread = m_paused; }

private:
    ScriptedPthread* const m_paused;
};

} // namespace

ScriptedPthread::ScriptedPthread() { currentPthread = this; }

ScriptedPthread::~ScriptedPthread() { currentPthread = nullptr; }

ScriptedPthread* ScriptedPthread::current() { return currentPthread; }

int ScriptedPthread::record(const std::string& function, const std::string& arguments) {
    const Pause pause;
    m_log.push_back(function + arguments);
    const auto error = m_errors.find(function);
    return error == m_errors.end() ? 0 : error->second;
}

} // namespace RynvelTest

namespace {

using RynvelTest::ScriptedPthread;

/** Records the call where there is a script, and makes it unless the script lets it fail. */
template <typename... Parameters, typename Text, typename... Arguments>
int interpose(int (*&real)(Parameters...), const char* name, Text text, Arguments... arguments) {
    if (real == nullptr) {
        real = reinterpret_cast<int (*)(Parameters...)>(dlsym(RTLD_NEXT, name));
    }
    ScriptedPthread* const script = ScriptedPthread::current();
    const int error = script != nullptr ? script->record(name, text()) : 0;
    return error != 0 ? error : real(arguments...);
}

std::string noText() { return ""; }

// No function-local statics: their guards are a sanitizer's too.
int (*realInit)(pthread_mutex_t*, const pthread_mutexattr_t*) = nullptr;
int (*realDestroy)(pthread_mutex_t*) = nullptr;
int (*realAttributesInit)(pthread_mutexattr_t*) = nullptr;
int (*realSetProtocol)(pthread_mutexattr_t*, int) = nullptr;
int (*realAttributesDestroy)(pthread_mutexattr_t*) = nullptr;
int (*realLock)(pthread_mutex_t*) = nullptr;
int (*realUnlock)(pthread_mutex_t*) = nullptr;

} // namespace

extern "C" {

int pthread_mutex_init(pthread_mutex_t* mutex, const pthread_mutexattr_t* attributes) noexcept {
    const auto text = [&] { return std::string(attributes == nullptr ? "(default)" : "(attributes)"); };
    return interpose(realInit, "pthread_mutex_init", text, mutex, attributes);
}

int pthread_mutex_destroy(pthread_mutex_t* mutex) noexcept {
    return interpose(realDestroy, "pthread_mutex_destroy", noText, mutex);
}

int pthread_mutexattr_init(pthread_mutexattr_t* attributes) noexcept {
    return interpose(realAttributesInit, "pthread_mutexattr_init", noText, attributes);
}

int pthread_mutexattr_setprotocol(pthread_mutexattr_t* attributes, int protocol) noexcept {
    const auto text = [&] { return "(" + std::to_string(protocol) + ")"; };
    return interpose(realSetProtocol, "pthread_mutexattr_setprotocol", text, attributes, protocol);
}

int pthread_mutexattr_destroy(pthread_mutexattr_t* attributes) noexcept {
    return interpose(realAttributesDestroy, "pthread_mutexattr_destroy", noText, attributes);
}

int pthread_mutex_lock(pthread_mutex_t* mutex) noexcept {
    return interpose(realLock, "pthread_mutex_lock", noText, mutex);
}

int pthread_mutex_unlock(pthread_mutex_t* mutex) noexcept {
    return interpose(realUnlock, "pthread_mutex_unlock", noText, mutex);
}
}
