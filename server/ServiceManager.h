/* SPDX-License-Identifier: MIT */
/**
 * @file
 * The interface between systemd and a service.
 */
#ifndef RYNVELD_SERVICEMANAGER_H
#define RYNVELD_SERVICEMANAGER_H

#include <chrono>
#include <optional>
#include <string>
#include <vector>

namespace Rynveld {

/**
 * Returns the listening sockets that the service manager has passed to this process; empty without socket activation.
 *
 * @throws std::runtime_error if the number of sockets is not valid, or if a passed descriptor is not a listening TCP
 * socket or local stream socket.
 */
std::vector<int> activationSockets();

/** Sends a state such as "READY=1" to the service manager. Does nothing if there is no service manager. */
void notifyServiceManager(const std::string& state);

/** Returns the state that announces a reload of the options. Send "READY=1" after the reload. */
std::string reloadingState();

/**
 * Returns the time within which the service manager expects WATCHDOG=1 from this process; empty if it expects none.
 */
std::optional<std::chrono::microseconds> watchdogPeriod();

} // namespace Rynveld

#endif
