/* SPDX-License-Identifier: MIT */
/**
 * @file
 * The names of registers, fields and values in the form that the dissector for Wireshark reads.
 */
#ifndef RYNVELCTL_WIRESHARKNAMES_H
#define RYNVELCTL_WIRESHARKNAMES_H

#include <string>

#include "RegisterMap.h"

namespace Rynvelctl {

/**
 * Returns the lines for one device, with the registers that the device can access. docs/wireshark.md describes the
 * format. The addresses are those in the requests to a register server.
 */
std::string wiresharkNames(const RegisterMap& map);

} // namespace Rynvelctl

#endif
