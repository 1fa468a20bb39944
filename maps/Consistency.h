// SPDX-License-Identifier: MIT
/**
 * @file
 * What makes no sense in a map that can be read.
 */
#ifndef RYNVEL_MAPS_CONSISTENCY_H
#define RYNVEL_MAPS_CONSISTENCY_H

#include "Diagnostics.h"
#include "Model.h"

namespace Maps {

/**
 * Warns of names that are there twice, of fields outside of their register, of fields and registers that overlap, and
 * of enumerated values that do not fit or are there twice.
 */
void checkConsistency(const Device& device, Warnings& warnings);

} // namespace Maps

#endif
