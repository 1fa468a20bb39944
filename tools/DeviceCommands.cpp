#include "Commands.h"

#include <algorithm>

#include "DeviceList.h"
#include "DeviceProbe.h"
#include "Numbers.h"
#include "OpenDevice.h"

namespace Rynvelctl {

namespace {

struct NoOptions {};

struct InfoOptions {
    std::string name;
};

struct IoctlOptions {
    std::string name;
    std::string request;
    std::string argument;
};

std::optional<bool> presenceOf(const Rynvel::MemoryDevice& row, const Common::DeviceKind* kind) {
    if (kind != nullptr && kind->access == Common::Access::Remote) {
        return std::nullopt;
    }
    return Common::isPresent(row);
}

ListedDevice listed(const Rynvel::MemoryDevice& row, std::size_t handle) {
    const Common::DeviceKind* const kind = Common::findKind(row.m_type);
    return {row.m_name,
            handle,
            row.m_devicePath,
            kind == nullptr ? "none" : kind->name,
            kind == nullptr ? 0 : kind->width,
            presenceOf(row, kind)};
}

void list(const Session& session, const NoOptions& /*options*/) {
    session.requireLocal("list");
    DeviceList devices;
    for (const Rynvel::MemoryDevice& row : Common::devices()) {
        devices.push_back(listed(row, devices.size()));
    }
    session.output().print(devices);
}

void info(const Session& session, const InfoOptions& options) {
    const Target target = session.target(options.name);
    const auto device = openDevice(target, session.time());
    session.output().print(DeviceFacts{target.name(), target.row.m_devicePath, target.backend(), target.width(),
                                       device->mapSize(), device->interruptType(), device->descriptor()});
}

void ioctl(const Session& session, const IoctlOptions& options) {
    const Target target = session.target(options.name);
    const std::uint32_t request = parseNumber("request", options.request);
    const std::uint32_t argument = parseNumber("argument", options.argument);
    const int result = openDevice(target, session.time())->ioctl(request, argument);
    session.output().print(IoctlResult{target.name(), request, argument, result});
}

} // namespace

void addDeviceCommands(const Common::Command& program, Action& chosen) {
    addCommand(program, chosen, "list", "list the devices of this machine", std::make_shared<NoOptions>(), list);

    const auto infoOptions = std::make_shared<InfoOptions>();
    const Common::Command infoCommand = addCommand(
        program, chosen, "info", "show the map size, interrupt type and descriptor of a device", infoOptions, info);
    infoCommand.addArgument("NAME", infoOptions->name, "the device");

    const auto ioctlOptions = std::make_shared<IoctlOptions>();
    const Common::Command ioctlCommand = addCommand(
        program, chosen, "ioctl", "send a request of its own to the driver of a device", ioctlOptions, ioctl);
    ioctlCommand.addArgument("NAME", ioctlOptions->name, "the device");
    ioctlCommand.addArgument("REQUEST", ioctlOptions->request, "the request's number");
    ioctlCommand.addArgument("ARGUMENT", ioctlOptions->argument, "the request's argument, a number");
}

} // namespace Rynvelctl
