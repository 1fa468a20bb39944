// SPDX-License-Identifier: MIT
/**
 * @file
 * The content of a map file, before the expansion of arrays and the inheritance of properties.
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

/** The properties that registers inherit from their enclosing elements. */
struct Properties {
    std::optional<std::uint64_t> size;
    std::optional<Access> access;
    std::optional<Protection> protection;
    std::optional<std::uint64_t> resetValue;
    std::optional<std::uint64_t> resetMask;
};

/** The properties that make an element an array. */
struct Dimension {
    std::optional<std::uint64_t> size;
    std::optional<std::uint64_t> increment;
    std::string_view index;
    std::string_view structName;
    Enumeration indexNames;
};

/** A bit range in any of the three notations of the format. Each of the numbers may be missing. */
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

/** A device, peripheral, cluster, register or field. A text is empty if the file does not give it. */
struct Definition {
    enum class Kind { Device, Peripheral, Cluster, Register, Field };

    Kind kind = Kind::Device;
    std::size_t line = 0;
    /** The enclosing element; null for the device. */
    const Definition* parent = nullptr;
    std::string_view derivedFrom;
    std::string_view name;
    std::string_view description;
    std::string_view displayName;
    std::string_view version;
    std::string_view headerStructName;
    /** The name of the peripheral, cluster or register to which this definition is an alternative. */
    std::string_view alternative;
    std::string_view alternateGroup;
    std::string_view prependToName;
    std::string_view appendToName;
    std::optional<std::uint64_t> addressUnitBits;
    std::optional<std::uint64_t> width;
    /** The base address of a peripheral, or the offset of a cluster or register. */
    std::optional<std::uint64_t> offset;
    BitRange bits;
    Properties properties;
    Dimension dimension;
    std::optional<ReadAction> readAction;
    std::optional<ModifiedWrite> modifiedWrite;
    std::optional<WriteConstraint> writeConstraint;
    // The following lists are null if the file does not give them. Derived definitions share the lists.
    List<AddressBlock> addressBlocks;
    List<Interrupt> interrupts;
    List<EnumerationDefinition> enumerations;
    /**
     * The peripherals of a device, the registers and clusters of a peripheral or cluster, or the fields of a register.
     */
    List<const Definition*> children;
};

/** Returns the XML tag of a kind of definition. */
std::string_view tagOf(Definition::Kind kind);

/** Returns the width of a bit range in bits; none if the numbers do not determine the width. */
std::optional<std::uint64_t> widthOf(const BitRange& bits);

/** Returns the kind and the name for a message, such as "register 'CR'". */
std::string describe(const Definition& definition);

} // namespace Maps

#endif
