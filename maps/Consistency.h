// SPDX-License-Identifier: MIT
/**
 * @file
 * Checks a map for contradictions between its elements.
 */
#ifndef RYNVEL_MAPS_CONSISTENCY_H
#define RYNVEL_MAPS_CONSISTENCY_H

#include "Diagnostics.h"
#include "Model.h"

namespace Maps {

/**
 * Warns about each name that occurs twice, each field that is outside its register or allows more access than its
 * register, fields and registers that overlap, and enumerated values that do not fit in their field or occur twice.
 */
void checkConsistency(const Device& device, Warnings& warnings);

} // namespace Maps

#endif
