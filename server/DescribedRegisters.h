/* SPDX-License-Identifier: MIT */
/**
 * @file
 * The registers of a simulated device that a register map describes.
 */
#ifndef RYNVELD_DESCRIBEDREGISTERS_H
#define RYNVELD_DESCRIBEDREGISTERS_H

#include <cstdint>
#include <map>

#include "Model.h"
#include "SimulatedRegister.h"

namespace Rynveld {

/** Registers by their index in the device. */
using DescribedRegisters = std::map<std::uint64_t, SimulatedRegister>;

/**
 * Returns the registers of a device with `width` bits for each register, from the description of a peripheral. The byte
 * at the lowest offset has the lowest bits. A field overrides its register. Where descriptions overlap, a readable one
 * has precedence over others, and then the first one.
 */
DescribedRegisters describedRegisters(const Maps::Peripheral& peripheral, unsigned int width);

} // namespace Rynveld

#endif
