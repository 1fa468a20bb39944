/**
 * @file
 * What systemd tells a service, and is told by it.
 */
#ifndef RYNVELD_SERVICEMANAGER_H
#define RYNVELD_SERVICEMANAGER_H

#include <string>
#include <vector>

namespace Rynveld {

/**
 * The listening sockets that were passed by socket activation; none when the process was not started by it.
 *
 * @throws std::runtime_error when one of them is no socket that listens for TCP or local stream connections.
 */
std::vector<int> activationSockets();

/** Sends a state such as "READY=1" to the service manager. Does nothing when there is none. */
void notifyServiceManager(const std::string& state);

} // namespace Rynveld

#endif
