/* SPDX-License-Identifier: MIT */
/**
 * @file
 * The results of the commands.
 */
#ifndef RYNVELCTL_REPORT_H
#define RYNVELCTL_REPORT_H

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "BitRange.h"
#include "FieldValues.h"
#include "MapReport.h"
#include "NumberBase.h"
#include "RegisterRange.h"

namespace Rynvelctl {

struct ListedDevice {
    std::string name;
    std::size_t handle;
    std::string path;
    /** The name of the device type. */
    std::string type;
    unsigned int width;
    /** Whether the device file exists; none for a remote device, which has no file. */
    std::optional<bool> isPresent;
};

using DeviceList = std::vector<ListedDevice>;

/** A device in the device table of this machine, and whether a server serves a device of that name. */
struct ServedDevice {
    std::string name;
    /** The name of the device type. */
    std::string type;
    unsigned int width;
    /** Whether the program has asked the server for the device. */
    bool isAsked;
    /** The reason why the device cannot be used on the server; empty if the server serves it. */
    std::string obstacle;
};

using ServedDevices = std::vector<ServedDevice>;

struct DeviceInfo {
    std::string name;
    std::string path;
    /** The name of the device type. */
    std::string type;
    unsigned int width;
    std::optional<std::uint32_t> mapSize;
    std::optional<std::uint32_t> interruptType;
    std::optional<int> descriptor;
};

struct RegisterValue {
    RegisterRange range;
    std::uint32_t value;
    /** The readable fields; empty if the user gave an address. */
    std::vector<Maps::FieldValue> fields;
};

struct FieldReading {
    /** The register of the field. */
    RegisterRange range;
    Maps::FieldValue field;
};

struct BitsReading {
    /** The register of the bits. */
    RegisterRange range;
    BitRange bits;
    std::uint32_t value;

    std::string valueText(GivenBase base) const { return bitsText(value, bits.width(), base); }
};

/** The requested value: that of a register, a field or bits. */
using Reading = std::variant<RegisterValue, FieldReading, BitsReading>;

/** Returns the value of the register, the field or the bits. */
std::uint64_t numberIn(const Reading& reading);

/** Returns the register, or the register that contains the field or the bits. */
const RegisterRange& rangeOf(const Reading& reading);

/** A register of a listing. */
struct ListedRegister {
    RegisterRange range;
    /** None if the register was not read, because reading it has a side effect. */
    std::optional<std::uint32_t> value;
    std::vector<Maps::FieldValue> fields;
};

/** The registers of a device. */
struct RegisterListing {
    std::vector<ListedRegister> registers;
    /** The reasons why the device cannot access the other registers of its map. */
    std::vector<std::string> inaccessible;
};

/** The value that a command has written to a register. The new values of the bits outside the mask are unknown. */
struct WrittenValue {
    RegisterRange range;
    std::uint32_t value;
    std::optional<std::uint32_t> mask;
    /** The fields that the user gave; empty if the user gave a value for the register. */
    std::vector<Maps::FieldValue> fields;
};

/** The value that a command has written to each register of a range. */
struct FilledRange {
    RegisterRange range;
    std::uint32_t value;
};

/** The registers to which a command has written the contents of a file. */
struct LoadedRange {
    RegisterRange range;
    Rynvel::ByteOrder order;

    std::size_t bytes() const;
};

/** The values of a range of registers. If reading a register has failed, only the values before that register. */
struct RegisterDump {
    RegisterRange range;
    std::vector<std::uint32_t> values;
    Rynvel::ByteOrder order;
};

/** A new value of a register or a field, and the time at which the command read it. */
struct RegisterChange {
    Reading reading;
    std::string time;
};

struct IoctlResult {
    std::string device;
    std::uint32_t request;
    std::uint32_t argument;
    int result;
};

struct InterruptType {
    std::string device;
    std::uint32_t type;
};

struct InterruptState {
    std::string device;
    /** "enabled", "disabled" or "raised". */
    std::string state;
};

struct InterruptEvent {
    std::string device;
    std::uint32_t word;
    std::string time;
};

struct RoundTrips {
    std::string server;
    /** The times of the round trips, at least one. */
    std::vector<std::chrono::nanoseconds> times;

    std::chrono::nanoseconds shortest() const;
    std::chrono::nanoseconds mean() const;
    std::chrono::nanoseconds longest() const;
};

/** The registers that a command has saved to a file. */
struct SavedRegisters {
    std::string device;
    std::string file;
    std::size_t count;
};

struct FieldDifference {
    Maps::FieldValue first;
    Maps::FieldValue second;
};

/** A register whose saved values differ. */
struct RegisterDifference {
    std::string device;
    std::string name;
    std::uint32_t offset;
    unsigned int size;
    /** None on the side that does not have the register. */
    std::optional<std::uint32_t> first;
    std::optional<std::uint32_t> second;
    /** The side that has the register, as the user gave it; empty if both sides have it. */
    std::string source;
    std::vector<FieldDifference> fields;
};

/** A register to which a restoration has written, or would write, the value of a snapshot. */
struct RestoredRegister {
    RegisterRange range;
    unsigned int size;
    std::uint32_t before;
    std::uint32_t after;
    /** Whether the command has written the register. False in a dry run. */
    bool isWritten;
};

/** Registers and fields that a command has not restored for one reason. */
struct SkippedRegisters {
    std::string device;
    std::string reason;
    std::vector<std::string> names;
};

using Report = std::variant<DeviceList, ServedDevices, DeviceInfo, RegisterValue, FieldReading, BitsReading,
                            RegisterListing, WrittenValue, FilledRange, LoadedRange, RegisterDump, RegisterChange,
                            IoctlResult, InterruptType, InterruptState, InterruptEvent, RoundTrips, SavedRegisters,
                            RegisterDifference, RestoredRegister, SkippedRegisters, MapReport>;

} // namespace Rynvelctl

#endif
