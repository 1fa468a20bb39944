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
 * at the lowest offset has the lowest bits. A field determines the access and the side effects of its bits, and the
 * register determines them for its other bits.
 *
 * If several descriptions contain a bit, the first readable one determines how the bit is read. The first writable one
 * that is also readable, or that changes the bit in another way than storing it, determines how the bit is written. The
 * bits of a register that are outside its fields come after all fields, and after registers without fields.
 */
DescribedRegisters describedRegisters(const Maps::Peripheral& peripheral, unsigned int width);

} // namespace Rynveld

#endif
