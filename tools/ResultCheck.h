/* SPDX-License-Identifier: MIT */
/**
 * @file
 * Checks the value that a write of some bits gives a register.
 */
#ifndef RYNVELCTL_RESULTCHECK_H
#define RYNVELCTL_RESULTCHECK_H

#include <cstdint>
#include <optional>

#include "OpenDevice.h"
#include "RegisterMap.h"

namespace Rynvelctl {

/**
 * Checks whether the register map allows the value that a register has after a masked write. Reads the register if the
 * check depends on bits that the write does not change. Another program can change these bits before the write.
 *
 * @param before the value of the register, if the caller has read it.
 * @throws Failure if the map does not allow the value, or if the register cannot be read.
 */
void requireResultAllowed(OpenDevice& device, const AddressedRegister& whole, const Maps::MaskedValue& written,
                          std::optional<std::uint32_t> before = std::nullopt);

} // namespace Rynvelctl

#endif
