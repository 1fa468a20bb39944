// SPDX-License-Identifier: MIT
/**
 * @file
 * Finds registers and fields by the names that users type.
 */
#ifndef RYNVEL_MAPS_REGISTERNAME_H
#define RYNVEL_MAPS_REGISTERNAME_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "Model.h"

namespace Maps {

/**
 * Returns the name of the peripheral that describes a device. Every character of the device name that is not a letter
 * or a digit becomes `_`.
 */
std::string peripheralNameOf(const std::string& deviceName);

/** Returns the peripheral that describes a device, by the device name; null if the map has none. */
const Peripheral* findPeripheral(const Device& map, const std::string& deviceName);

/** A register of a peripheral. The peripheral must outlive this object. */
struct LocatedRegister {
    /** The name of the register with the names of the clusters around it, such as `CLUSTER.REGISTER`. */
    std::string name;
    /** The offset from the beginning of the peripheral. */
    std::uint64_t offset = 0;
    const Register* contents = nullptr;
};

/** Returns all registers of a peripheral, including those in clusters, in the order of their offsets. */
std::vector<LocatedRegister> registersOf(const Peripheral& peripheral);

/** The register or field that a name selects. */
struct NamedRegister {
    LocatedRegister located;
    /** The field; null if the name selects the whole register. */
    const Field* field = nullptr;
};

/**
 * Returns the field of a register that has the name; null if there is none. A name in the map has precedence over the
 * name of an array with an index in brackets.
 */
const Field* findField(const Register& aRegister, const std::string& name);

/**
 * Returns the register or field that a name selects; none if there is none. The name is `REGISTER` or
 * `CLUSTER.REGISTER`, and `.FIELD` may follow. The name of a register may include the texts that a viewer shows before
 * and after it.
 *
 * An element of an array has its name in the map, such as `IRQ3` or `DATA[3]`. You can also write `IRQ[3]`, or the name
 * of the index, such as `DATA[Left]`. A name in the map has precedence. If several registers have the same name, the
 * name selects the register with the lowest offset.
 */
std::optional<NamedRegister> findRegister(const Peripheral& peripheral, const std::string& name);

/** Returns the elements of `names` that the user may have meant by `name`. Ignores the case of letters. */
std::vector<std::string> similarTo(const std::string& name, const std::vector<std::string>& names);

/**
 * Returns up to three names of registers or fields that the user may have meant by an unknown name. Ignores the case of
 * letters.
 */
std::vector<std::string> namesLike(const Peripheral& peripheral, const std::string& name);

} // namespace Maps

#endif
