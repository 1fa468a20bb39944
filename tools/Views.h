/**
 * @file
 * What the commands report, put into words.
 */
#ifndef RYNVELCTL_VIEWS_H
#define RYNVELCTL_VIEWS_H

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "Addressing.h"
#include "Output.h"
#include "Subject.h"

namespace Rynvelctl {

/** A device as the list shows it. */
struct ListedDevice {
    std::string name;
    std::size_t handle;
    std::string path;
    std::string backend;
    unsigned int width;
    /** Whether the device file is there; none for a remote device, which has no file. */
    std::optional<bool> isPresent;
};

News deviceList(const std::vector<ListedDevice>& devices);

/** What only an open device knows. */
struct DeviceFacts {
    std::optional<std::uint32_t> mapSize;
    std::optional<std::uint32_t> interruptType;
    std::optional<int> descriptor;
};

News deviceFacts(const Subject& subject, const DeviceFacts& facts);

/** The value of a register. */
News registerValue(const Subject& subject, const Addressing& addressing, const Place& place, std::uint32_t value);

/** The value that a register was given. */
News writtenValue(const Subject& subject, const Addressing& addressing, const Place& place, std::uint32_t value);

/** The value that the bits of a mask were given: the others of the register are not known. */
News maskedValue(const Subject& subject, const Addressing& addressing, const Place& place, std::uint32_t value,
                 std::uint32_t mask);

/** A value that `count` registers from a place on were given. */
News filledRegisters(const Subject& subject, const Addressing& addressing, const Place& first, std::uint32_t count,
                     std::uint32_t value);

/** The values of registers in a row, 16 bytes a line. */
News registerBlock(const Subject& subject, const Addressing& addressing, const Place& first,
                   const std::vector<std::uint32_t>& values, Rynvel::ByteOrder order);

/** The value of a register at a moment. */
News change(const Subject& subject, const Addressing& addressing, const Place& place, std::uint32_t value,
            const std::string& time);

News requestResult(const Subject& subject, std::uint32_t request, std::uint32_t argument, int result);

News interruptType(const Subject& subject, std::uint32_t type);

/** @param state "enabled", "disabled" or "raised". */
News interruptState(const Subject& subject, const std::string& state);

News interrupt(const Subject& subject, std::uint32_t word, const std::string& time);

News roundTrips(const std::string& server, const std::vector<std::chrono::nanoseconds>& times);

} // namespace Rynvelctl

#endif
