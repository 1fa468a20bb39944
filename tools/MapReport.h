/* SPDX-License-Identifier: MIT */
/**
 * @file
 * The results of the commands about register maps. The catalog of maps must outlive them.
 */
#ifndef RYNVELCTL_MAPREPORT_H
#define RYNVELCTL_MAPREPORT_H

#include <cstddef>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "MapCatalog.h"
#include "RegisterName.h"

namespace Rynvelctl {

struct ListedPeripheral {
    std::string name;
    std::size_t registers;
    /** The devices of this machine that the peripheral describes. */
    std::vector<std::string> devices;
    /** The file with an earlier description of the same name, which the commands use instead. */
    std::optional<std::string> hiddenBy;
};

struct ListedMap {
    std::string file;
    std::string name;
    std::string version;
    std::vector<ListedPeripheral> peripherals;
};

using MapList = std::vector<ListedMap>;

struct CheckedMap {
    std::string file;
    /**
     * Whether none of the diagnostics is an error. If one is an error, the numbers of peripherals and registers are 0.
     */
    bool isUsable;
    std::size_t peripherals;
    std::size_t registers;
    std::vector<Maps::Diagnostic> diagnostics;
};

using MapCheck = std::vector<CheckedMap>;

struct HeaderText {
    std::string device;
    std::string text;
};

/** The names of the registers, fields and values of devices, for the dissector for Wireshark. */
struct DissectorNames {
    std::vector<std::string> devices;
    std::string text;
};

/** All registers of a device. */
struct DescribedDevice {
    std::string device;
    Maps::DevicePeripheral description;
    std::vector<Maps::LocatedRegister> registers;
};

/** A register, or one of its fields. */
struct DescribedRegister {
    std::string device;
    Maps::NamedRegister named;
    /** The reason why the device cannot access the register; empty if it can. */
    std::string obstacle;
};

using MapReport = std::variant<MapList, MapCheck, HeaderText, DissectorNames, DescribedDevice, DescribedRegister>;

} // namespace Rynvelctl

#endif
