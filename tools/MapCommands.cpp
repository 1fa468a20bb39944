// SPDX-License-Identifier: MIT
#include <algorithm>
#include <map>

#include "Commands.h"
#include "DeviceList.h"
#include "Failure.h"
#include "RegisterHeader.h"
#include "WiresharkNames.h"

namespace Rynvelctl {

namespace {

struct CheckOptions {
    std::vector<std::string> files;
};

struct HeaderOptions {
    std::string name;
};

struct WiresharkOptions {
    std::vector<std::string> names;
};

struct DescribeOptions {
    std::string name;
    std::string element;
};

std::vector<std::string> devicesOf(const Maps::Peripheral& peripheral) {
    std::vector<std::string> names;
    for (const Rynvel::MemoryDevice& row : Common::devices()) {
        if (Maps::peripheralNameOf(row.m_name) == peripheral.name) {
            names.push_back(row.m_name);
        }
    }
    return names;
}

/** Lists maps in the order of the search. */
class Listing {
public:
    ListedMap add(const std::string& file, const Maps::Device& device) {
        ListedMap map{file, device.name, device.version, {}};
        for (const Maps::Peripheral& peripheral : device.peripherals) {
            const auto [first, isNew] = m_files.emplace(peripheral.name, file);
            const std::size_t registers = Maps::registersOf(peripheral).size();
            if (isNew) {
                map.peripherals.push_back({peripheral.name, registers, devicesOf(peripheral), std::nullopt});
            } else {
                map.peripherals.push_back({peripheral.name, registers, {}, first->second});
            }
        }
        return map;
    }

private:
    /** For each peripheral name, the file with the first description. */
    std::map<std::string, std::string> m_files;
};

void listMaps(const CommandContext& context, const NoOptions& /*options*/) {
    context.requireLocal("maps list");
    Maps::MapCatalog& catalog = context.maps();
    MapList maps;
    Listing listing;
    for (std::size_t position = 0; position < catalog.files().size(); ++position) {
        maps.push_back(listing.add(catalog.files()[position], *catalog.map(position).device));
    }
    context.output().print(MapReport(std::move(maps)));
}

CheckedMap check(const std::string& file, const Common::Deadline& deadline) {
    Maps::ReadMap map = Maps::readMapFile(file, {}, deadline);
    CheckedMap checked{file, map.device.has_value(), 0, 0, std::move(map.diagnostics)};
    if (map.device) {
        checked.peripherals = map.device->peripherals.size();
        for (const Maps::Peripheral& peripheral : map.device->peripherals) {
            checked.registers += Maps::registersOf(peripheral).size();
        }
    }
    return checked;
}

/** @throws Failure if a folder contains no register map. @param path a file or a folder. */
void requireMaps(const std::string& path) {
    if (Maps::MapCatalog({path}).files().empty()) {
        throw usageError(path + ": the folder has no register map (the names of maps end in .svd)");
    }
}

void checkMaps(const CommandContext& context, const CheckOptions& options) {
    std::for_each(options.files.begin(), options.files.end(), requireMaps);
    const Maps::MapCatalog catalog(options.files);
    MapCheck maps;
    for (const std::string& file : catalog.files()) {
        maps.push_back(check(file, context.timeout().deadline()));
    }
    const auto unusable = std::count_if(maps.begin(), maps.end(), [](const CheckedMap& map) { return !map.isUsable; });
    const std::size_t count = maps.size();
    context.output().print(MapReport(std::move(maps)));
    if (unusable != 0) {
        throw Failure(ExitStatus::Failed, "maps check: " + std::to_string(unusable) + " of " + std::to_string(count) +
                                              (count == 1 ? " map" : " maps") + " cannot be used");
    }
}

void writeHeader(const CommandContext& context, const HeaderOptions& options) {
    const Target& target = context.target(options.name);
    std::string text = registerHeader(context.registerMap(target));
    // The output adds the last line end.
    text.pop_back();
    context.output().print(MapReport(HeaderText{target.name(), std::move(text)}));
}

void writeWiresharkNames(const CommandContext& context, const WiresharkOptions& options) {
    DissectorNames names;
    for (const std::string& name : options.names) {
        const Target& target = context.target(name);
        names.devices.push_back(target.name());
        names.text += wiresharkNames(context.registerMap(target));
    }
    // The output adds the last line end.
    names.text.pop_back();
    context.output().print(MapReport(std::move(names)));
}

void describe(const CommandContext& context, const DescribeOptions& options) {
    const Target& target = context.target(options.name);
    const RegisterMap& map = context.registerMap(target);
    if (options.element.empty()) {
        context.output().print(MapReport(DescribedDevice{target.name(), map.description(), map.locatedRegisters()}));
        return;
    }
    const Maps::NamedRegister named = map.named(options.element);
    context.output().print(MapReport(DescribedRegister{target.name(), named, map.obstacleTo(named.located)}));
}

void addMapFileCommands(const Common::Command& program, Action& chosen) {
    const Common::Command maps = program.addCommand(
        "maps", "list or check register maps, or write their names for C, C++ or Wireshark", [&chosen] {
            if (!chosen) {
                throw usageError("maps: the command is missing (list, check, header or wireshark)");
            }
        });
    addCommand(maps, chosen, "list", "list the register maps, and the devices of this machine that they describe",
               std::make_shared<NoOptions>(), listMaps);

    const auto checkOptions = std::make_shared<CheckOptions>();
    const Common::Command checkCommand =
        addCommand(maps, chosen, "check", "show the errors and the warnings of register maps", checkOptions, checkMaps);
    checkCommand.addArgument("FILE", checkOptions->files, "a register map, or a folder of register maps");

    const auto headerOptions = std::make_shared<HeaderOptions>();
    const Common::Command headerCommand =
        addCommand(maps, chosen, "header", "write a header for C and C++ with the registers of a device", headerOptions,
                   writeHeader);
    headerCommand.addArgument("NAME", headerOptions->name, "the device");

    const auto wiresharkOptions = std::make_shared<WiresharkOptions>();
    const Common::Command wiresharkCommand =
        addCommand(maps, chosen, "wireshark", "write the names of registers, fields and values for Wireshark",
                   wiresharkOptions, writeWiresharkNames);
    wiresharkCommand.addArgument("NAME", wiresharkOptions->names, "a device");
}

} // namespace

void addMapCommands(const Common::Command& program, Action& chosen) {
    const auto options = std::make_shared<DescribeOptions>();
    const Common::Command command = addCommand(
        program, chosen, "describe",
        "show the description of a device, a register or a field in the register map, without accessing the device",
        options, describe);
    command.addArgument("NAME", options->name, "the device");
    command.addOptionalArgument("REGISTER", options->element,
                                "the name of a register, or REGISTER.FIELD for a field (default: all registers)");
    addMapFileCommands(program, chosen);
}

} // namespace Rynvelctl
