#include "Commands.h"

#include <algorithm>

#include "DeviceList.h"
#include "DeviceProbe.h"
#include "Failure.h"
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

std::optional<bool> presenceOf(const Rynvel::MemoryDevice& row, const Common::DeviceTypeInfo* kind) {
    if (kind != nullptr && kind->access == Common::Access::Remote) {
        return std::nullopt;
    }
    return Common::deviceFileExists(row);
}

ListedDevice listed(const Rynvel::MemoryDevice& row, std::size_t handle) {
    const Common::DeviceTypeInfo* const kind = Common::findDeviceTypeInfo(row.m_type);
    return {row.m_name,
            handle,
            row.m_devicePath,
            kind == nullptr ? "none" : kind->name,
            kind == nullptr ? 0 : kind->width,
            presenceOf(row, kind)};
}

/** Complains of each row that is not listed. */
void requireNone(const std::vector<std::string>& problems) {
    std::for_each(problems.begin(), problems.end(), complain);
    if (!problems.empty()) {
        const std::string noun = problems.size() == 1 ? " device" : " devices";
        throw Failure(ExitStatus::Failed, "the list leaves out " + std::to_string(problems.size()) + noun);
    }
}

void list(const Session& session, const NoOptions& /*options*/) {
    session.requireLocal("list");
    const std::vector<Rynvel::MemoryDevice>& rows = Common::devices();
    DeviceList devices;
    std::vector<std::string> problems;
    for (std::size_t handle = 0; handle < rows.size(); ++handle) {
        const std::string problem = Common::describeMismatch(rows[handle], handle);
        if (problem.empty()) {
            devices.push_back(listed(rows[handle], handle));
        } else {
            problems.push_back(problem);
        }
    }
    session.output().print(devices);
    requireNone(problems);
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
