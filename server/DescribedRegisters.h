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
 * at the lowest offset has the lowest bits. A field overrides its register.
 *
 * Where descriptions overlap, a bit is read as the first readable one says. It is written as the first writable one
 * says that is also readable or changes the bit in another way than storing it. A field, or a register without fields,
 * has precedence over the bits of registers that are outside their fields.
 */
DescribedRegisters describedRegisters(const Maps::Peripheral& peripheral, unsigned int width);

} // namespace Rynveld

#endif
