// SPDX-License-Identifier: MIT
#include <algorithm>

#include "Addresses.h"
#include "Commands.h"
#include "OpenDevice.h"
#include "RegisterOptions.h"

namespace Rynvelctl {

namespace {

struct ShowOptions {
    std::string name;
    std::vector<std::string> registers;
    bool includesSideEffects = false;
};

using Registers = std::vector<AddressedRegister>;

Registers readableRegistersOf(const RegisterMap& map) {
    Registers registers = map.registers();
    const auto others = std::remove_if(registers.begin(), registers.end(), [](const AddressedRegister& each) {
        return !Maps::isReadable(each.contents());
    });
    registers.erase(others, registers.end());
    return registers;
}

Registers registersNamed(const RegisterMap& map, const std::vector<std::string>& names) {
    Registers registers;
    for (const std::string& name : names) {
        const Selection selection = map.find(name);
        requireReadable(selection);
        registers.push_back(wholeOf(selection));
    }
    return registers;
}

/** Returns the registers inside the map of the device. Adds the others to the inaccessible registers of the listing. */
Registers insideOf(const OpenDevice& device, const Registers& registers, RegisterListing& listing) {
    Registers inside;
    for (const AddressedRegister& each : registers) {
        try {
            each.range.requireInside(device.mapSize());
            inside.push_back(each);
        } catch (const Failure& outside) {
            listing.inaccessible.emplace_back(outside.what());
        }
    }
    return inside;
}

/**
 * Reads the registers into the listing. Adds a register with an excluded side effect without a value.
 *
 * @return the failure of the last read; none if every read succeeded.
 */
std::optional<Failure> read(OpenDevice& device, const Registers& registers, bool includesSideEffects,
                            RegisterListing& listing) {
    try {
        for (const AddressedRegister& each : registers) {
            if (includesSideEffects || !each.word.hasReadSideEffect) {
                const RegisterValue value = decoded(each, device.read(each.range));
                listing.registers.push_back({value.range, value.value, value.fields});
            } else {
                listing.registers.push_back({each.range, std::nullopt, {}});
            }
        }
    } catch (const Failure& failure) {
        return failure;
    }
    return std::nullopt;
}

/** @throws Failure if a register was not read. */
void requireRead(const RegisterListing& listing) {
    for (const ListedRegister& each : listing.registers) {
        if (!each.value) {
            throw usageError(each.range.device().name() + ": register " + each.range.name() +
                             " was not read, because reading has a side effect (--with-side-effects reads it)");
        }
    }
}

void show(const CommandContext& context, const ShowOptions& options) {
    const Target& target = context.target(options.name);
    const RegisterMap& map = context.registerMap(target);
    const bool areNamed = !options.registers.empty();
    Registers registers = areNamed ? registersNamed(map, options.registers) : readableRegistersOf(map);
    const auto device = context.open(target);
    RegisterListing listing;
    if (areNamed) {
        for (const AddressedRegister& each : registers) {
            each.range.requireInside(device->mapSize());
        }
    } else {
        listing.inaccessible = map.inaccessible();
        registers = insideOf(*device, registers, listing);
    }
    const auto failure = read(*device, registers, options.includesSideEffects, listing);
    context.output().print(listing);
    if (failure) {
        throw Failure(*failure);
    }
    if (areNamed) {
        requireRead(listing);
    }
}

} // namespace

void addShowCommand(const Common::Command& program, Action& chosen) {
    const auto options = std::make_shared<ShowOptions>();
    const Common::Command command =
        addCommand(program, chosen, "show", "show registers and their fields by name", options, show);
    command.addArgument("NAME", options->name, "the device");
    command.addOptionalArgument("REGISTER", options->registers,
                                "the names of registers (default: all that are readable)");
    addSideEffectsOption(command, options->includesSideEffects);
}

} // namespace Rynvelctl
