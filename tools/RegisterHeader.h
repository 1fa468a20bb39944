/* SPDX-License-Identifier: MIT */
/**
 * @file
 * A header for C and C++ that gives names to the registers of a device.
 */
#ifndef RYNVELCTL_REGISTERHEADER_H
#define RYNVELCTL_REGISTERHEADER_H

#include <string>

#include "RegisterMap.h"

namespace Rynvelctl {

/**
 * Returns a header with the offsets and addresses of the registers that the device can access, and with the masks,
 * shifts and values of their fields. The same map gives the same header on every machine.
 */
std::string registerHeader(const RegisterMap& map);

} // namespace Rynvelctl

#endif
