// SPDX-License-Identifier: MIT
#include <algorithm>

#include "Commands.h"
#include "Count.h"
#include "DeviceList.h"
#include "DeviceProbe.h"
#include "Failure.h"
#include "NumberArguments.h"
#include "OpenDevice.h"
#include "RecordConnection.h"

namespace Rynvelctl {

namespace {

struct InfoOptions {
    std::string name;
};

struct IoctlOptions {
    std::string name;
    std::string request;
    std::string argument;
};

std::optional<bool> hasFile(const Rynvel::MemoryDevice& row, const Common::DeviceTypeInfo* type) {
    if (type != nullptr && type->access == Common::AccessMethod::Remote) {
        return std::nullopt;
    }
    return Common::deviceFileExists(row);
}

ListedDevice toListedDevice(const Rynvel::MemoryDevice& row, std::size_t handle) {
    const Common::DeviceTypeInfo* const type = Common::findDeviceTypeInfo(row.m_type);
    return {row.m_name,
            handle,
            row.m_devicePath,
            type == nullptr ? "none" : type->name,
            type == nullptr ? 0 : type->width,
            hasFile(row, type)};
}

/** Prints all problems. @throws Failure if there is one. */
void requireNoProblems(const std::vector<std::string>& problems) {
    std::for_each(problems.begin(), problems.end(), printError);
    if (!problems.empty()) {
        const std::string verb = problems.size() == 1 ? " is" : " are";
        throw Failure(ExitStatus::Failed, Common::counted(problems.size(), "device") + verb + " not listed");
    }
}

const Common::DeviceTypeInfo* typeToShow(const CommandContext& context, const Rynvel::MemoryDevice& row) {
    return context.givenType() != nullptr ? context.givenType() : Common::findDeviceTypeInfo(row.m_type);
}

/** Returns the reason why no command can use a device on a server; empty if a command can use it. */
std::string reasonNotToAsk(const CommandContext& context, const RemoteServer& server, const std::string& name) {
    try {
        remoteTarget(name, server, context.givenType());
        return "";
    } catch (const Failure& problem) {
        return problem.what();
    } catch (const Common::DeviceTableMismatch& problem) {
        return problem.what();
    }
}

/** A connection to a server, which opens devices one after the other. */
class ServerInquiry {
public:
    explicit ServerInquiry(const RemoteServer& server) : m_server(server) {}

    /** Returns the reason why the server does not serve a device; empty if it does. @throws UnansweredRequest. */
    std::string refusalOf(const std::string& name) {
        try {
            m_server.call([&] { open(name); }, "");
            return "";
        } catch (const UnansweredRequest&) {
            throw;
        } catch (const Failure&) {
            return "the server does not open the device";
        }
    }

private:
    void open(const std::string& name) {
        const Common::DeadlineFactory deadlines = m_server.deadlines();
        if (!m_connection) {
            m_connection.emplace(m_server.address(), deadlines());
        }
        // On this request, the server releases the device that it opened for the previous request.
        m_connection->open(name, deadlines());
    }

    const RemoteServer& m_server;
    std::optional<Common::RecordConnection> m_connection;
};

/** The devices up to the first unanswered request, and the failure of that request if there is one. */
struct Inventory {
    ServedDevices devices;
    std::optional<Failure> failure;
};

Inventory inventoryOf(const CommandContext& context, const RemoteServer& server) {
    Inventory inventory;
    ServerInquiry inquiry(server);
    try {
        for (const Rynvel::MemoryDevice& row : Common::devices()) {
            const Common::DeviceTypeInfo* const type = typeToShow(context, row);
            const std::string reason = reasonNotToAsk(context, server, row.m_name);
            inventory.devices.push_back({row.m_name, type == nullptr ? "none" : type->name,
                                         type == nullptr ? 0 : type->width, reason.empty(),
                                         reason.empty() ? inquiry.refusalOf(row.m_name) : reason});
        }
    } catch (const Failure& failure) {
        inventory.failure = failure;
    }
    return inventory;
}

void listServed(const CommandContext& context, const RemoteServer& server) {
    const Inventory inventory = inventoryOf(context, server);
    if (!inventory.devices.empty()) {
        context.output().print(inventory.devices);
    }
    if (inventory.failure) {
        throw Failure(*inventory.failure);
    }
}

void listLocal(const CommandContext& context) {
    const std::vector<Rynvel::MemoryDevice>& rows = Common::devices();
    DeviceList devices;
    std::vector<std::string> problems;
    for (std::size_t handle = 0; handle < rows.size(); ++handle) {
        const std::string problem = Common::describeMismatch(rows[handle], handle);
        if (problem.empty()) {
            devices.push_back(toListedDevice(rows[handle], handle));
        } else {
            problems.push_back(problem);
        }
    }
    context.output().print(devices);
    requireNoProblems(problems);
}

void list(const CommandContext& context, const NoOptions& /*options*/) {
    context.requireServerForType("list");
    if (const RemoteServer* const server = context.findServer()) {
        listServed(context, *server);
    } else {
        listLocal(context);
    }
}

void info(const CommandContext& context, const InfoOptions& options) {
    const Target& target = context.target(options.name);
    const auto device = context.open(target);
    context.output().print(DeviceInfo{target.name(), target.row.m_devicePath, target.typeName(), target.width(),
                                      device->mapSize(), device->interruptType(), device->descriptor()});
}

void ioctl(const CommandContext& context, const IoctlOptions& options) {
    const Target& target = context.target(options.name);
    const std::uint32_t request = parseNumber("request", options.request);
    const std::uint32_t argument = parseNumber("argument", options.argument);
    const int result = context.open(target)->ioctl(request, argument);
    context.output().print(IoctlResult{target.name(), request, argument, result});
}

} // namespace

void addDeviceCommands(const Common::Command& program, Action& chosen) {
    addCommand(program, chosen, "list",
               "list the devices of this machine; with --remote, say which of them the server serves",
               std::make_shared<NoOptions>(), list);

    const auto infoOptions = std::make_shared<InfoOptions>();
    const Common::Command infoCommand = addCommand(
        program, chosen, "info", "show the path, type, width, map size, interrupt type and descriptor of a device",
        infoOptions, info);
    infoCommand.addArgument("NAME", infoOptions->name, "the device");

    const auto ioctlOptions = std::make_shared<IoctlOptions>();
    const Common::Command ioctlCommand =
        addCommand(program, chosen, "ioctl", "send an ioctl request to the driver of a device, and print the result",
                   ioctlOptions, ioctl);
    ioctlCommand.addArgument("NAME", ioctlOptions->name, "the device");
    ioctlCommand.addArgument("REQUEST", ioctlOptions->request, "the number of the request");
    ioctlCommand.addArgument("ARGUMENT", ioctlOptions->argument, "the argument of the request, a number");
}

} // namespace Rynvelctl
