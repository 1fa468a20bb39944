/* SPDX-License-Identifier: MIT */
/**
 * @file
 * The registers of a device by their names.
 */
#ifndef RYNVELCTL_REGISTERMAP_H
#define RYNVELCTL_REGISTERMAP_H

#include <functional>
#include <string>
#include <vector>

#include "DeviceRegisters.h"
#include "Failure.h"
#include "FieldValues.h"
#include "FieldWrite.h"
#include "MapCatalog.h"
#include "RegisterName.h"
#include "RegisterRange.h"
#include "Target.h"

namespace Rynvelctl {

/** A register that a register map describes, and that the device can access. */
struct AddressedRegister {
    Maps::LocatedRegister located;
    /** The range of the single register, with its name. */
    RegisterRange range;
    /**
     * The word of the device that contains the register. Reading the word can have a side effect on another register in
     * it.
     */
    Maps::Word word;

    const std::string& name() const { return located.name; }
    const Maps::Register& contents() const { return *located.contents; }
};

/** A register, or one of its fields, that a name on the command line selects. */
struct Selection {
    AddressedRegister whole;
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
    RegisterMap(const Target& target, const Maps::DevicePeripheral& description);

    const Target& device() const { return *m_target; }
    const Maps::DevicePeripheral& description() const { return m_description; }

    /** Returns all registers of the map that the device can access, in the order of their offsets. */
    std::vector<AddressedRegister> registers() const;

    /** Returns all registers of the map, in the order of their offsets. */
    const std::vector<Maps::LocatedRegister>& locatedRegisters() const { return m_registers.all(); }

    /**
     * Returns the register or field with this name, even if the device cannot access it.
     *
     * @throws Failure for an unknown name.
     */
    Maps::NamedRegister named(const std::string& name) const;

    /** Returns the reason why the device cannot access a register of the map; empty if it can. */
    std::string obstacleTo(const Maps::LocatedRegister& located) const { return m_registers.obstacleTo(located); }

    /** @throws Failure if the device cannot access a register of the map. */
    void requireAccessible(const Maps::LocatedRegister& located) const;

    /**
     * Checks the registers of the map after the first register of a range. If several registers begin in a word, only
     * one of them needs to pass.
     *
     * @param check throws Failure for a register that does not pass.
     */
    void checkAfterFirst(const RegisterRange& range, const std::function<void(const AddressedRegister&)>& check) const;

    /**
     * Checks the words of a range, except the first word and the words in which a register of the map begins.
     *
     * @throws Failure if an earlier register extends into one of the checked words. The device cannot access this
     * register.
     */
    void requireNoParts(const RegisterRange& range) const;

    /**
     * Returns an error message for each register of the map that the device cannot access.
     *
     * @param consequence precedes the problem in each message.
     */
    std::vector<std::string> inaccessible(const std::string& consequence = "") const;

    /**
     * Returns the register or field with this name.
     *
     * @throws Failure for an unknown name, for a register that the device cannot access, and for a field outside its
     * register.
     */
    Selection find(const std::string& name) const;

private:
    AddressedRegister mapped(const Maps::LocatedRegister& located) const;
    Failure unknownName(const std::string& name) const;
    /** Returns the hint for an unknown name, for the end of an error message. */
    std::string hintFor(const std::string& name) const;

    const Target* m_target;
    Maps::DevicePeripheral m_description;
    Maps::DeviceRegisters m_registers;
};

/** Returns the register that a name selects. @throws Failure if the name selects a field. */
const AddressedRegister& wholeOf(const Selection& selection);

/** @throws Failure if the map says that a register or a field cannot be read. */
void requireReadable(const Selection& selection);

/** @throws Failure if the map says that a bit of the mask cannot be read. */
void requireBitsReadable(const AddressedRegister& whole, std::uint64_t mask);

/** @throws Failure if the map does not allow a write of the register, or of this value. */
void requireAllowed(const AddressedRegister& whole, const Maps::MaskedValue& written);

/** @throws Failure if reading the register has a side effect. @param option the option that needs the read. */
void requireNoReadEffect(const AddressedRegister& whole, const std::string& option);

/** @param hint the hint for the error message. @throws Failure if reading the register has a side effect. */
void requireHarmlessRead(const AddressedRegister& whole, const std::string& hint);

/** Returns the result of a plan for a register. @throws Failure if the register map refuses the plan. */
template <typename Plan>
decltype(auto) allowed(const AddressedRegister& whole, const Plan& plan) {
    try {
        return plan();
    } catch (const Maps::RefusedValue& refused) {
        throw usageError(whole.range.device().name() + ": " + refused.what());
    }
}

} // namespace Rynvelctl

#endif
