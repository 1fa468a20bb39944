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
 * at the lowest offset contains the lowest bits. A field determines the access and the side effects of its bits. A
 * register determines the access and the side effects of the bits outside its fields.
 *
 * If several descriptions contain a bit, the first readable description determines how the bit is read, and the first
 * writable description determines how the bit is written. The function ignores a write-only description whose write
 * only stores the bit, because a read cannot show the stored value. Descriptions of bits outside fields come last. The
 * function ignores how such a description writes a bit that a field, or a register without fields, makes readable.
 */
DescribedRegisters describedRegisters(const Maps::Peripheral& peripheral, unsigned int width);

} // namespace Rynveld

#endif
