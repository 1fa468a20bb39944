/* SPDX-License-Identifier: MIT */
/**
 * @file
 * The registers of a device by their names.
 */
#ifndef RYNVELCTL_REGISTERMAP_H
#define RYNVELCTL_REGISTERMAP_H

#include <string>
#include <vector>

#include "Failure.h"
#include "MapCatalog.h"
#include "RegisterName.h"
#include "RegisterRange.h"
#include "Target.h"

namespace Rynvelctl {

/** A register that a register map describes, and that the device can access. */
struct MappedRegister {
    Maps::LocatedRegister place;
    /** Has the name of the register. */
    RegisterRange range;

    const std::string& name() const { return place.name; }
    const Maps::Register& contents() const { return *place.contents; }
};

/** What a name on the command line selects. */
struct Selection {
    MappedRegister whole;
    /** Null for the whole register. */
    const Maps::Field* field = nullptr;

    /** Returns `REGISTER` or `REGISTER.FIELD`. */
    std::string name() const;
};

/** The description of one device. */
class RegisterMap {
public:
    /**
     * @param target must outlive this object and the ranges that it returns.
     * @param description must describe the target; its catalog must outlive this object.
     * @throws Maps::UnusableMap if the addresses of the map do not count bytes.
     */
    RegisterMap(const Target& target, const Maps::DeviceDescription& description);

    const Target& device() const { return *m_target; }
    const Maps::DeviceDescription& description() const { return m_description; }

    /** Returns all registers of the map that the device can access, in the order of their offsets. */
    std::vector<MappedRegister> registers() const;

    /** Returns all registers of the map, in the order of their offsets. */
    const std::vector<Maps::LocatedRegister>& places() const { return m_places; }

    /** Returns what a name selects, even if the device cannot access it. @throws Failure for an unknown name. */
    Maps::NamedRegister named(const std::string& name) const;

    /** Returns why the device cannot access a register of the map; empty if it can. */
    std::string obstacleTo(const Maps::LocatedRegister& place) const;

    /** Returns an error message for each register of the map that is not one of registers(): why the device cannot
     * access it. */
    std::vector<std::string> inaccessible() const;

    /**
     * Returns what a name selects.
     *
     * @throws Failure for an unknown name, for a register that the device cannot access, and for a field outside its
     * register.
     */
    Selection find(const std::string& name) const;

private:
    /** Returns another register in the word of a register that is narrower than the word; null if there is none. */
    const Maps::LocatedRegister* neighbourOf(const Maps::LocatedRegister& place) const;
    MappedRegister mapped(const Maps::LocatedRegister& place) const;
    Failure unknownName(const std::string& name) const;

    const Target* m_target;
    Maps::DeviceDescription m_description;
    std::vector<Maps::LocatedRegister> m_places;
};

/** Returns the register that a name selects. @throws Failure if the name selects a field. */
const MappedRegister& wholeOf(const Selection& selection);

/** @throws Failure if the map says that a register or a field cannot be read. */
void requireReadable(const Selection& selection);

/** @throws Failure if the map says that a register or a field cannot be written. */
void requireWritable(const Selection& selection);

} // namespace Rynvelctl

#endif
