// SPDX-License-Identifier: MIT
#include "ScriptedPthread.h"

#include <iterator>
#include <utility>

#include <dlfcn.h>
#include <pthread.h>

#include "UnusedAnswers.h"

namespace RynvelTest {

namespace {

__thread ScriptedPthread* currentPthread = nullptr;

/** A scope in which mutex calls are not recorded, because the recording itself makes mutex calls. */
class Pause {
public:
    Pause() : m_paused(currentPthread) { currentPthread = nullptr; }
    Pause(const Pause&) = delete;
    Pause& operator=(const Pause&) = delete;
    ~Pause() { currentPthread = m_paused; }

private:
    ScriptedPthread* const m_paused;
};

// The names have the order of the enumeration MutexCall.
constexpr const char* names[] = {
    "pthread_mutex_init",        "pthread_mutex_destroy", "pthread_mutexattr_init", "pthread_mutexattr_setprotocol",
    "pthread_mutexattr_destroy", "pthread_mutex_lock",    "pthread_mutex_unlock"};
static_assert(std::size(names) == static_cast<std::size_t>(MutexCall::Unlock) + 1, "a call without a name");

UnusedAnswers& unused = UnusedAnswers::of({std::begin(names), std::end(names)});

} // namespace

const char* nameOf(MutexCall call) { return names[static_cast<std::size_t>(call)]; }

ScriptedPthread::ScriptedPthread() { currentPthread = this; }

ScriptedPthread::~ScriptedPthread() { currentPthread = nullptr; }

ScriptedPthread* ScriptedPthread::current() { return currentPthread; }

void ScriptedPthread::fail(MutexCall call, int error) {
    m_failures[call] = {error, true};
    unused.add(static_cast<std::size_t>(call), 1);
}

int ScriptedPthread::record(MutexCall call, const std::string& arguments) {
    const Pause pause;
    m_log.push_back(nameOf(call) + arguments);
    const auto failure = m_failures.find(call);
    if (failure == m_failures.end()) {
        return 0;
    }
    if (std::exchange(failure->second.unused, false)) {
        unused.remove(static_cast<std::size_t>(call));
    }
    return failure->second.error;
}

} // namespace RynvelTest

namespace {

using namespace RynvelTest;

/** Records the call if the thread has a script. Returns the error that the script sets, or the result of the call. */
template <typename... Parameters, typename Text, typename... Arguments>
int interpose(int (*&real)(Parameters...), MutexCall call, Text text, Arguments... arguments) {
    if (real == nullptr) {
        real = reinterpret_cast<int (*)(Parameters...)>(dlsym(RTLD_NEXT, nameOf(call)));
    }
    ScriptedPthread* const script = ScriptedPthread::current();
    const int error = script != nullptr ? script->record(call, text()) : 0;
    return error != 0 ? error : real(arguments...);
}

std::string noText() { return ""; }

// The first call of a replaced function sets the pointer to the original function. A local static variable with an
// initializer would need a guard, and a sanitizer also intercepts guards.
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
    return interpose(realInit, MutexCall::Init, text, mutex, attributes);
}

int pthread_mutex_destroy(pthread_mutex_t* mutex) noexcept {
    return interpose(realDestroy, MutexCall::Destroy, noText, mutex);
}

int pthread_mutexattr_init(pthread_mutexattr_t* attributes) noexcept {
    return interpose(realAttributesInit, MutexCall::AttributesInit, noText, attributes);
}

int pthread_mutexattr_setprotocol(pthread_mutexattr_t* attributes, int protocol) noexcept {
    const auto text = [&] { return "(" + std::to_string(protocol) + ")"; };
    return interpose(realSetProtocol, MutexCall::AttributesSetProtocol, text, attributes, protocol);
}

int pthread_mutexattr_destroy(pthread_mutexattr_t* attributes) noexcept {
    return interpose(realAttributesDestroy, MutexCall::AttributesDestroy, noText, attributes);
}

int pthread_mutex_lock(pthread_mutex_t* mutex) noexcept { return interpose(realLock, MutexCall::Lock, noText, mutex); }

int pthread_mutex_unlock(pthread_mutex_t* mutex) noexcept {
    return interpose(realUnlock, MutexCall::Unlock, noText, mutex);
}
}
