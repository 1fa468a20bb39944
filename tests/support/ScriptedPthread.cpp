#include "ScriptedPthread.h"

#include <dlfcn.h>
#include <pthread.h>

namespace RynvelTest {

namespace {

thread_local ScriptedPthread* currentPthread = nullptr;

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

template <typename Function>
Function* next(Function* /*sameType*/, const char* name) {
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

/** Records the call where there is a script, and makes it unless the script lets it fail. */
template <typename Function, typename... Arguments>
int interpose(Function* real, const char* name, const std::string& text, Arguments... arguments) {
    ScriptedPthread* const script = ScriptedPthread::current();
    const int error = script != nullptr ? script->record(name, text) : 0;
    return error != 0 ? error : real(arguments...);
}

} // namespace

extern "C" {

int pthread_mutex_init(pthread_mutex_t* mutex, const pthread_mutexattr_t* attributes) noexcept {
    static const auto real = next(&::pthread_mutex_init, "pthread_mutex_init");
    return interpose(real, "pthread_mutex_init", attributes == nullptr ? "(default)" : "(attributes)", mutex,
                     attributes);
}

int pthread_mutex_destroy(pthread_mutex_t* mutex) noexcept {
    static const auto real = next(&::pthread_mutex_destroy, "pthread_mutex_destroy");
    return interpose(real, "pthread_mutex_destroy", "", mutex);
}

int pthread_mutexattr_init(pthread_mutexattr_t* attributes) noexcept {
    static const auto real = next(&::pthread_mutexattr_init, "pthread_mutexattr_init");
    return interpose(real, "pthread_mutexattr_init", "", attributes);
}

int pthread_mutexattr_setprotocol(pthread_mutexattr_t* attributes, int protocol) noexcept {
    static const auto real = next(&::pthread_mutexattr_setprotocol, "pthread_mutexattr_setprotocol");
    return interpose(real, "pthread_mutexattr_setprotocol", "(" + std::to_string(protocol) + ")", attributes, protocol);
}

int pthread_mutexattr_destroy(pthread_mutexattr_t* attributes) noexcept {
    static const auto real = next(&::pthread_mutexattr_destroy, "pthread_mutexattr_destroy");
    return interpose(real, "pthread_mutexattr_destroy", "", attributes);
}

int pthread_mutex_lock(pthread_mutex_t* mutex) noexcept {
    static const auto real = next(&::pthread_mutex_lock, "pthread_mutex_lock");
    return interpose(real, "pthread_mutex_lock", "", mutex);
}

int pthread_mutex_unlock(pthread_mutex_t* mutex) noexcept {
    static const auto real = next(&::pthread_mutex_unlock, "pthread_mutex_unlock");
    return interpose(real, "pthread_mutex_unlock", "", mutex);
}
}
