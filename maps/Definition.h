// SPDX-License-Identifier: MIT
/**
 * @file
 * A register map as its file has it, before arrays are expanded and anything is inherited.
 */
#ifndef RYNVEL_MAPS_DEFINITION_H
#define RYNVEL_MAPS_DEFINITION_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "Model.h"

namespace Maps {

struct Definition;

/** What registers inherit from the elements around them. */
struct Properties {
    std::optional<std::uint64_t> size;
    std::optional<Access> access;
    std::optional<Protection> protection;
    std::optional<std::uint64_t> resetValue;
    std::optional<std::uint64_t> resetMask;
};

/** The elements that make an array. */
struct Dimension {
    std::optional<std::uint64_t> size;
    std::optional<std::uint64_t> increment;
    std::string_view index;
    std::string_view structName;
    Enumeration indexNames;
};

/** The three spellings of a bit range: any of the numbers may be missing. */
struct BitRange {
    std::optional<std::uint64_t> lsb;
    std::optional<std::uint64_t> msb;
    std::optional<std::uint64_t> width;
};

struct EnumerationDefinition {
    std::size_t line = 0;
    const Definition* field = nullptr;
    std::string_view derivedFrom;
    std::string_view name;
    std::string_view headerEnumName;
    std::optional<Usage> usage;
    SharedList<EnumeratedValue> values;
};

using Definitions = std::vector<const Definition*>;

template <typename T>
using List = std::shared_ptr<std::vector<T>>;

template <typename T>
void addTo(List<T>& list, T element) {
    if (!list) {
        list = std::make_shared<std::vector<T>>();
    }
    list->push_back(std::move(element));
}

/** A device, peripheral, cluster, register or field. A text that is empty is not there. */
struct Definition {
    enum class Kind { Device, Peripheral, Cluster, Register, Field };

    Kind kind = Kind::Device;
    std::size_t line = 0;
    /** Null for the device. */
    const Definition* parent = nullptr;
    std::string_view derivedFrom;
    std::string_view name;
    std::string_view description;
    std::string_view displayName;
    std::string_view version;
    std::string_view headerStructName;
    /** The peripheral, cluster or register that it is an alternative to. */
    std::string_view alternative;
    std::string_view alternateGroup;
    std::string_view prependToName;
    std::string_view appendToName;
    std::optional<std::uint64_t> addressUnitBits;
    std::optional<std::uint64_t> width;
    /** The base address or the offset. */
    std::optional<std::uint64_t> offset;
    BitRange bits;
    Properties properties;
    Dimension dimension;
    std::optional<ReadAction> readAction;
    std::optional<ModifiedWrite> modifiedWrite;
    std::optional<WriteConstraint> writeConstraint;
    // What follows is null where it is not there. Derived definitions share it.
    List<AddressBlock> addressBlocks;
    List<Interrupt> interrupts;
    List<EnumerationDefinition> enumerations;
    /** The peripherals of a device, the registers and clusters of a peripheral or cluster, the fields of a register. */
    List<const Definition*> children;
};

/** The name of a kind of element, as files have it. */
std::string_view tagOf(Definition::Kind kind);

/** For messages: the kind and the name, such as "register 'CR'". */
std::string describe(const Definition& definition);

} // namespace Maps

#endif
