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
 * register determines them for its other bits. If several descriptions contain a bit, the first readable one determines
 * it; if none is readable, the first one does.
 */
DescribedRegisters describedRegisters(const Maps::Peripheral& peripheral, unsigned int width);

} // namespace Rynveld

#endif
