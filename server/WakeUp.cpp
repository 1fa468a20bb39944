// SPDX-License-Identifier: MIT
#include "WakeUp.h"

#include <csignal>

#include <pthread.h>

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
