/* SPDX-License-Identifier: MIT */
/**
 * @file
 * The part of the command line that commands on registers share.
 */
#ifndef RYNVELCTL_REGISTEROPTIONS_H
#define RYNVELCTL_REGISTEROPTIONS_H

#include <string>

#include "ArgumentParser.h"
#include "RegisterRange.h"

namespace Rynvelctl {

struct RegisterOptions {
    std::string name;
    std::string address;
    bool usesIndex = false;

    AddressUnit unit() const { return usesIndex ? AddressUnit::Registers : AddressUnit::Bytes; }
};

/** Adds the arguments for a device and a register. @param address describes the argument ADDRESS. */
void addRegister(const Common::Command& command, RegisterOptions& options,
                 const std::string& address = "the byte address of a register, or the name of a register or a field");

void addIndexOption(const Common::Command& command, RegisterOptions& options);
void addSideEffectsOption(const Common::Command& command, bool& areIncluded);

} // namespace Rynvelctl

#endif
