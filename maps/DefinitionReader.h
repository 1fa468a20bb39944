// SPDX-License-Identifier: MIT
/**
 * @file
 * Reads the definitions of a map from its XML elements.
 */
#ifndef RYNVEL_MAPS_DEFINITIONREADER_H
#define RYNVEL_MAPS_DEFINITIONREADER_H

#include "Definition.h"
#include "Element.h"

namespace Maps {

/**
 * Reads a map and returns its root, the device. Leaves out a peripheral, cluster, register or field without a name, and
 * warns about the missing name.
 *
 * @throws MalformedMap if the root is not a device, if the device has no peripherals, or if clusters are nested too
 * deep.
 */
const Definition& readDefinitions(Source& source);

} // namespace Maps

#endif
