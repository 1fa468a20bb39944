#include "WakeUp.h"

#include <pthread.h>

#include <csignal>

namespace Rynveld {

namespace {

constexpr int wakeUpSignal = SIGUSR1;

} // namespace

void installWakeUpHandler() {
    struct sigaction action {};
    action.sa_handler = [](int /*signal*/) {};
    sigaction(wakeUpSignal, &action, nullptr);
}

void wakeUp(std::thread& thread) { pthread_kill(thread.native_handle(), wakeUpSignal); }

} // namespace Rynveld
