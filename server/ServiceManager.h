/**
 * @file
 * What systemd tells a service, and is told by it.
 */
#ifndef RYNVELD_SERVICEMANAGER_H
#define RYNVELD_SERVICEMANAGER_H

#include <optional>
#include <string>

namespace Rynveld {

/**
 * The listening socket that was passed by socket activation; none when the process was not started by it.
 *
 * @throws std::runtime_error when what was passed is no socket that listens for TCP connections.
 */
std::optional<int> activationSocket();

/** Sends a state such as "READY=1" to the service manager. Does nothing when there is none. */
void notifyServiceManager(const std::string& state);

} // namespace Rynveld

#endif
