// SPDX-License-Identifier: MIT
/**
 * @file
 * From definitions to the model: arrays are expanded, and properties inherited.
 */
#ifndef RYNVEL_MAPS_EXPANSION_H
#define RYNVEL_MAPS_EXPANSION_H

#include "Definition.h"
#include "Diagnostics.h"
#include "Limits.h"
#include "Model.h"

namespace Maps {

/**
 * Warns of everything that cannot be used, and leaves it out.
 *
 * @throws MalformedMap when the device has more elements or deeper clusters than the limits allow.
 */
Device expand(const Definition& device, Warnings& warnings, const Limits& limits);

} // namespace Maps

#endif
