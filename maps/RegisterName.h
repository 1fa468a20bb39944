// SPDX-License-Identifier: MIT
/**
 * @file
 * Registers and fields by the names that users write.
 */
#ifndef RYNVEL_MAPS_REGISTERNAME_H
#define RYNVEL_MAPS_REGISTERNAME_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "Model.h"

namespace Maps {

/** The name of the peripheral that describes a device: every character that is not a letter or a digit becomes `_`. */
std::string peripheralNameOf(const std::string& deviceName);

/** The peripheral that describes a device, by its logical name. Null if the map has none. */
const Peripheral* findPeripheral(const Device& map, const std::string& deviceName);

/** A register of a peripheral, which must outlive it. */
struct PlacedRegister {
    /** With the names of the clusters around it, such as `CLUSTER.REGISTER`. */
    std::string name;
    /** From the beginning of the peripheral. */
    std::uint64_t offset = 0;
    const Register* contents = nullptr;
};

/** All registers of a peripheral, those of clusters included, in the order of their offsets. */
std::vector<PlacedRegister> registersOf(const Peripheral& peripheral);

/** What a name means. */
struct NamedRegister {
    PlacedRegister place;
    /** Null for the register as a whole. */
    const Field* field = nullptr;
};

/** Finds a field of a register by its name. Null if the register has none. */
const Field* findField(const Register& aRegister, const std::string& name);

/**
 * Finds `REGISTER`, `CLUSTER.REGISTER` or either with `.FIELD`. An element of an array has the name in the map, such as
 * `IRQ3` or `DATA[3]`, and is also found as `IRQ[3]`, or by the name of its index, such as `DATA[Left]`. The name of a
 * register may have what a viewer shows before and after it.
 */
std::optional<NamedRegister> findRegister(const Peripheral& peripheral, const std::string& name);

/** Up to three names that an unknown one may be meant to be, whatever the case of its letters. */
std::vector<std::string> namesLike(const Peripheral& peripheral, const std::string& name);

} // namespace Maps

#endif
