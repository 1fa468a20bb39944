// SPDX-License-Identifier: MIT
/**
 * @file
 * From XML to definitions.
 */
#ifndef RYNVEL_MAPS_DEFINITIONREADER_H
#define RYNVEL_MAPS_DEFINITIONREADER_H

#include "Definition.h"
#include "Element.h"

namespace Maps {

/**
 * Reads the root of a map. An element without a name is not used, with a warning.
 *
 * @throws MalformedMap when the root is not a device, the device has no peripherals, or clusters are nested too deep.
 */
const Definition& readDefinitions(Source& source);

} // namespace Maps

#endif
