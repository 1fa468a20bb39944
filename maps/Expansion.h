// SPDX-License-Identifier: MIT
/**
 * @file
 * Converts definitions to the model. Expands arrays, and adds the inherited properties.
 */
#ifndef RYNVEL_MAPS_EXPANSION_H
#define RYNVEL_MAPS_EXPANSION_H

#include "Definition.h"
#include "Diagnostics.h"
#include "Limits.h"
#include "Model.h"

namespace Maps {

/**
 * Returns the model of a device. Leaves out everything that cannot be used, and warns about it.
 *
 * @throws MalformedMap if the device has more elements or deeper clusters than the limits allow.
 */
Device expand(const Definition& device, Warnings& warnings, const Limits& limits);

} // namespace Maps

#endif
