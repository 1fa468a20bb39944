/* SPDX-License-Identifier: MIT */
/**
 * @file
 * The settings that the global options select for every command.
 */
#ifndef RYNVELCTL_COMMANDCONTEXT_H
#define RYNVELCTL_COMMANDCONTEXT_H

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Color.h"
#include "CommandTimeout.h"
#include "DeviceCache.h"
#include "MapSearch.h"
#include "Output.h"
#include "RegisterMap.h"
#include "RemoteServer.h"
#include "Target.h"

namespace Rynvelctl {

/** The values of the global options, as the user typed them. */
struct GlobalOptions {
    bool isQuiet = false;
    bool isJson = false;
    std::string remote;
    bool isLocal = false;
    std::string base;
    std::string type;
    std::string timeout;
    std::string color = "auto";
    std::vector<std::string> traces;
    std::vector<std::string> maps;
};

/** The output, the time-out, the server, the devices and the register maps that a command uses. */
class CommandContext {
public:
    /** Evaluates the options and sets up the traces. @throws Failure if an option is wrong. */
    explicit CommandContext(const GlobalOptions& options);

    const Output& output() const { return m_output; }

    ColorChoice color() const { return m_color; }

    /** Returns whether the user has given --trace. */
    bool isTraced() const { return m_isTraced; }

    const CommandTimeout& timeout() const { return m_timeout; }

    /**
     * Returns the device with this name, on this machine or on the server. The result is valid as long as this object
     * exists.
     *
     * @throws Failure if no device has this name, if the type of the device is unknown, or if --type does not match the
     * device.
     */
    const Target& target(const std::string& name) const;

    /** Returns a device, which stays open for further commands. @throws Failure if the device cannot be opened. */
    std::shared_ptr<OpenDevice> open(const Target& target) const;

    /**
     * Opens the device of a range.
     *
     * @throws Failure if the device cannot be opened, or if a register is outside its map.
     */
    std::shared_ptr<OpenDevice> open(const RegisterRange& range) const;

    /** Returns the register maps. @throws Maps::UnusableMap if a file or folder that the user gives cannot be read. */
    Maps::MapCatalog& maps() const { return m_maps->catalog(); }

    /**
     * Returns the description of a device; null if no register map describes the device. The result is valid as long as
     * this object exists.
     *
     * @throws Maps::UnusableMap if a register map cannot be used.
     */
    const RegisterMap* findRegisterMap(const Target& target) const;

    /**
     * Returns the description of a device.
     *
     * @throws Maps::UnusableMap as findRegisterMap() does.
     * @throws Failure if no register map describes the device.
     */
    const RegisterMap& registerMap(const Target& target) const;

    /**
     * Returns the server; null if the command uses the devices of this machine.
     *
     * @throws Failure if the default server has a malformed address.
     */
    const RemoteServer* findServer() const;

    /** Returns the type that the user has given; null if the user has not given one. */
    const Common::DeviceTypeInfo* givenType() const { return m_givenType; }

    /**
     * Returns the server.
     *
     * @param command the command that needs a server.
     * @throws Failure as findServer() does, and if neither --remote nor the environment gives a server.
     */
    const RemoteServer& server(const char* command) const;

    /**
     * Checks that the user has given no options for remote devices. The default server does not matter.
     *
     * @param command the command, which does not support these options.
     * @throws Failure if the user has given one.
     */
    void requireLocal(const char* command) const;

    /** @throws Failure if the user has given a type but no server. @param command the command. */
    void requireServerForType(const char* command) const;

    /**
     * Reserves standard input for a command.
     *
     * @throws Failure if another command already uses it: an earlier `load` in the same file of commands, or `run -`
     * itself.
     */
    void takeStandardInput(const std::string& command) const;

private:
    CommandTimeout m_timeout;
    Output m_output;
    ColorChoice m_color;
    bool m_isTraced;
    mutable bool m_isStandardInputTaken = false;
    mutable std::optional<RemoteServer> m_server;
    bool m_isServerGiven = false;
    /** Whether m_server still needs the default server, which findServer() sets. */
    mutable bool m_isDefaultServerPending = false;
    const Common::DeviceTypeInfo* m_givenType = nullptr;
    std::unique_ptr<Maps::MapSearch> m_maps;
    std::unique_ptr<DeviceCache> m_devices;
};

} // namespace Rynvelctl

#endif
