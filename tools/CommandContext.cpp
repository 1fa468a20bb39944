// SPDX-License-Identifier: MIT
#include "CommandContext.h"

#include <cstdlib>
#include <utility>

#include "Failure.h"
#include "TimeText.h"
#include "Tracing.h"

namespace Rynvelctl {

namespace {

Format formatOf(const GlobalOptions& options) {
    if (options.isJson) {
        return Format::Json;
    }
    return options.isQuiet ? Format::Values : Format::Text;
}

CommandTimeout timeoutOf(const GlobalOptions& options) {
    if (options.timeout.empty()) {
        return CommandTimeout(std::nullopt);
    }
    return CommandTimeout(parsePositiveDuration("timeout", options.timeout));
}

GivenBase baseOf(const GlobalOptions& options) { return options.base.empty() ? GivenBase() : parseBase(options.base); }

constexpr const char* serverVariable = "RYNVELCTL_REMOTE";

/**
 * Returns the server that the environment names for the commands without --remote; none if the environment does not
 * name a server.
 */
std::optional<RemoteServer> defaultServer(const CommandTimeout& timeout) {
    const char* const address = std::getenv(serverVariable);
    if (address == nullptr || *address == '\0') {
        return std::nullopt;
    }
    try {
        return RemoteServer(address, timeout);
    } catch (const Failure& failure) {
        throw Failure(failure.status(), std::string(serverVariable) + ": " + failure.what());
    }
}

std::optional<RemoteServer> givenServer(const GlobalOptions& options, const CommandTimeout& timeout) {
    return options.remote.empty() ? std::nullopt : std::make_optional<RemoteServer>(options.remote, timeout);
}

} // namespace

CommandContext::CommandContext(const GlobalOptions& options)
    : m_timeout(timeoutOf(options)),
      m_output(formatOf(options), m_timeout, baseOf(options)),
      m_color(parseColorChoice(options.color)),
      m_isTraced(!options.traces.empty()),
      m_server(givenServer(options, m_timeout)),
      m_isServerGiven(m_server.has_value()),
      m_isDefaultServerPending(!m_isServerGiven && !options.isLocal),
      m_maps(std::make_unique<Maps::MapSearch>(options.maps, m_timeout.deadline())),
      m_devices(std::make_unique<DeviceCache>()) {
    if (!options.type.empty()) {
        m_givenType = &parseType(options.type);
    }
    setUpTraces(options.traces);
}

const Target& CommandContext::target(const std::string& name) const {
    if (const Target* const known = m_devices->find(name)) {
        return *known;
    }
    const RemoteServer* const server = findServer();
    return m_devices->add(server != nullptr ? remoteTarget(name, *server, m_givenType)
                                            : localTarget(name, m_givenType, m_timeout));
}

std::shared_ptr<OpenDevice> CommandContext::open(const Target& target) const {
    return m_devices->open(target, m_timeout);
}

std::shared_ptr<OpenDevice> CommandContext::open(const RegisterRange& range) const {
    auto device = open(range.device());
    range.requireInside(device->mapSize());
    return device;
}

const RegisterMap* CommandContext::findRegisterMap(const Target& target) const {
    return m_devices->registerMap(target, *m_maps);
}

const RegisterMap& CommandContext::registerMap(const Target& target) const {
    if (const RegisterMap* const found = findRegisterMap(target)) {
        return *found;
    }
    throw usageError(target.name() + ": no register map describes the device (give a map with --map)");
}

const RemoteServer* CommandContext::findServer() const {
    if (m_isDefaultServerPending) {
        m_server = defaultServer(m_timeout);
        m_isDefaultServerPending = false;
    }
    return m_server ? &*m_server : nullptr;
}

const RemoteServer& CommandContext::server(const char* command) const {
    const RemoteServer* const server = findServer();
    if (server == nullptr) {
        throw usageError(std::string(command) + ": the server is missing (give it with --remote, or in " +
                         serverVariable + ')');
    }
    return *server;
}

void CommandContext::takeStandardInput(const std::string& command) const {
    if (std::exchange(m_isStandardInputTaken, true)) {
        throw usageError(command + ": another command reads standard input (give the name of a file)");
    }
}

void CommandContext::requireLocal(const char* command) const {
    if (m_isServerGiven) {
        throw usageError(std::string(command) + ": --remote is not supported (the command works only on this machine)");
    }
    if (m_givenType != nullptr) {
        throw usageError(std::string(command) + ": --type is not supported (the command works only on this machine)");
    }
}

void CommandContext::requireServerForType(const char* command) const {
    if (m_givenType != nullptr && findServer() == nullptr) {
        throw usageError(std::string(command) + ": --type applies only to remote devices (give --remote)");
    }
}

} // namespace Rynvelctl
