/* SPDX-License-Identifier: MIT */
/**
 * @file
 * The arguments and options that commands for registers share.
 */
#ifndef RYNVELCTL_REGISTEROPTIONS_H
#define RYNVELCTL_REGISTEROPTIONS_H

#include <string>

#include "ArgumentParser.h"
#include "RegisterRange.h"

namespace Rynvelctl {

/** The byte orders of --order. @{ */
constexpr const char* hostOrder = "host";
constexpr const char* networkOrder = "network";
/** @} */

/** A device, and the unit of the addresses that follow it. */
struct DeviceOptions {
    std::string name;
    bool usesIndex = false;

    AddressUnit unit() const { return usesIndex ? AddressUnit::Registers : AddressUnit::Bytes; }
};

struct RegisterOptions : DeviceOptions {
    std::string address;
};

/** Adds the arguments for a device and a register. @param address describes the argument ADDRESS. */
void addRegister(const Common::Command& command, RegisterOptions& options,
                 const std::string& address = "the byte address of a register, the name of a register or a field, or "
                                              "bits ADDRESS[7:4]");

/** Adds the arguments for a device and the first of several registers. */
void addFirstRegister(const Common::Command& command, RegisterOptions& options);

/** Adds the option for the byte order. @param order the default, which must be hostOrder. */
void addOrderOption(const Common::Command& command, std::string& order);

/** Returns the byte order that a value of the option names. @throws Failure if the text is not a byte order. */
Rynvel::ByteOrder parseOrder(const std::string& text);

/** Returns the name of a byte order, as the user types it. */
std::string orderName(Rynvel::ByteOrder order);

void addIndexOption(const Common::Command& command, DeviceOptions& options);
void addSideEffectsOption(const Common::Command& command, bool& areIncluded);

} // namespace Rynvelctl

#endif
