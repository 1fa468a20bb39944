/**
 * @file
 * What the commands report, as values.
 */
#ifndef RYNVELCTL_REPORT_H
#define RYNVELCTL_REPORT_H

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "RegisterRange.h"

namespace Rynvelctl {

struct ListedDevice {
    std::string name;
    std::size_t handle;
    std::string path;
    std::string backend;
    unsigned int width;
    /** Whether the device file is there; none for a remote device, which has no file. */
    std::optional<bool> isPresent;
};

using DeviceList = std::vector<ListedDevice>;

struct DeviceFacts {
    std::string name;
    std::string path;
    std::string backend;
    unsigned int width;
    std::optional<std::uint32_t> mapSize;
    std::optional<std::uint32_t> interruptType;
    std::optional<int> descriptor;
};

/** What a register holds. */
struct RegisterValue {
    RegisterRange range;
    std::uint32_t value;
};

/** What a register was given. Under a mask, the other bits are not known. */
struct WrittenValue {
    RegisterRange range;
    std::uint32_t value;
    std::optional<std::uint32_t> mask;
};

/** What each of some registers was given. */
struct FilledRange {
    RegisterRange range;
    std::uint32_t value;
};

/** What consecutive registers hold: those of the range, or the first of them when reading the others failed. */
struct RegisterDump {
    RegisterRange range;
    std::vector<std::uint32_t> values;
    Rynvel::ByteOrder order;
};

/** What a register holds from a moment on. */
struct RegisterChange {
    RegisterRange range;
    std::uint32_t value;
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
    /** One at least. */
    std::vector<std::chrono::nanoseconds> times;

    std::chrono::nanoseconds shortest() const;
    std::chrono::nanoseconds mean() const;
    std::chrono::nanoseconds longest() const;
};

using Report = std::variant<DeviceList, DeviceFacts, RegisterValue, WrittenValue, FilledRange, RegisterDump,
                            RegisterChange, IoctlResult, InterruptType, InterruptState, InterruptEvent, RoundTrips>;

} // namespace Rynvelctl

#endif
