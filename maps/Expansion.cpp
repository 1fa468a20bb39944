// SPDX-License-Identifier: MIT
#include "Expansion.h"

#include <algorithm>
#include <map>
#include <tuple>
#include <utility>

#include "ArrayNames.h"
#include "Bits.h"
#include "Count.h"
#include "Derivation.h"
#include "TextEncoding.h"

namespace Maps {

namespace {

using Kind = Definition::Kind;

/** The highest bit number in a map, and the greatest size of a register in bits. A greater number is a mistake. */
constexpr std::uint64_t highestBit = 65535;

Properties refine(Properties properties, const Properties& own) {
    properties.size = own.size ? own.size : properties.size;
    properties.access = own.access ? own.access : properties.access;
    properties.protection = own.protection ? own.protection : properties.protection;
    properties.resetValue = own.resetValue ? own.resetValue : properties.resetValue;
    properties.resetMask = own.resetMask ? own.resetMask : properties.resetMask;
    return properties;
}

auto keyOf(const Properties& p) { return std::tie(p.size, p.access, p.protection, p.resetValue, p.resetMask); }

struct ByContent {
    bool operator()(const std::pair<const Definitions*, Properties>& a,
                    const std::pair<const Definitions*, Properties>& b) const {
        return a.first != b.first ? a.first < b.first : keyOf(a.second) < keyOf(b.second);
    }
};

/** The registers and clusters of a peripheral or cluster. */
struct Content {
    SharedList<Register> registers;
    SharedList<Cluster> clusters;
    /** The number of registers, clusters and fields, at all levels. */
    std::uint64_t elements = 0;
};

/**
 * The name of an element, its position in an array, and its distance from the first element of the array, in bytes or,
 * for a field, in bits.
 */
struct Position {
    std::string name;
    ArrayElement element;
    std::uint64_t distance = 0;
};

class Expansion {
public:
    Expansion(const Definition& device, Warnings& warnings, const Limits& limits)
        : m_derivation(device, warnings, limits), m_warnings(warnings), m_limits(limits) {}

    Device expandDevice(const Definition& definition) {
        Device device;
        device.name = definition.name;
        device.version = oneLine(std::string(definition.version));
        device.description = textOf(definition.description);
        device.addressUnitBits = definition.addressUnitBits.value_or(device.addressUnitBits);
        device.width = definition.width.value_or(device.width);
        std::vector<Peripheral> peripherals;
        for (const Definition* const child : *definition.children) {
            addPeripherals(peripherals, m_derivation.resolve(*child), definition.properties);
        }
        device.peripherals = SharedList<Peripheral>(std::move(peripherals));
        return device;
    }

private:
    static Text textOf(std::string_view text) { return text.empty() ? Text() : Text(oneLine(std::string(text))); }

    void warn(const Definition& definition, const std::string& text) {
        m_warnings.add(definition.line, describe(definition) + " " + text);
    }

    /** @throws MalformedMap if there are more elements than a map may have. */
    void expectAtMost(const Definition& definition, std::uint64_t elements) const {
        if (elements > m_limits.elements) {
            throw MalformedMap(definition.line, "the map has more than " + std::to_string(m_limits.elements) +
                                                    " elements at " + describe(definition) + " (split the map)");
        }
    }

    /**
     * Counts an element once, when the element is created, even if several peripherals share it. `m_elements` counts
     * the element once for each peripheral.
     */
    void countCreated(const Definition& definition) { expectAtMost(definition, ++m_made); }

    /**
     * Counts a definition from which no element was created. Such a definition also takes time, and many definitions
     * can share the list that contains it.
     */
    void countIfLeftOut(const Definition& definition, std::uint64_t added) {
        if (added == 0) {
            countCreated(definition);
        }
    }

    // Arrays

    /** Returns the greatest distance from the first element at which the offset of an element still fits in 64 bits. */
    static std::uint64_t roomAfter(const Definition& definition) { return UINT64_MAX - definition.offset.value_or(0); }

    /** Returns the text of the warning for an array whose elements are too far from the first element. */
    static std::string problemBeyondRoom(const Definition& definition) {
        if (definition.kind == Kind::Field) {
            return "has elements with bits higher than bit " + std::to_string(highestBit);
        }
        const std::string position = definition.kind == Kind::Peripheral ? "an address" : "an offset";
        return "has elements with " + position + " that does not fit in 64 bits";
    }

    /**
     * Returns the elements of an array in their order, or the only element of a definition that is not an array. Leaves
     * out the elements whose distance from the first element is greater than `room`.
     */
    std::vector<Position> positionsOf(const Definition& definition, std::uint64_t room) {
        if (!definition.dimension.size) {
            return {onlyPosition(definition)};
        }
        if (*definition.dimension.size == 0 || *definition.dimension.size > m_limits.arraySize) {
            warn(definition, "is an array of " + std::to_string(*definition.dimension.size) +
                                 " elements, and is not used (1 to " + std::to_string(m_limits.arraySize) +
                                 " elements are supported)");
            return {};
        }
        return elementsOf(definition, room);
    }

    Position onlyPosition(const Definition& definition) {
        const bool isTemplate = hasPlaceholder(definition.name);
        if (isTemplate) {
            warn(definition, "has a placeholder for an index, but no dim: the placeholder is removed");
        }
        if (definition.dimension.increment || !definition.dimension.index.empty()) {
            warn(definition, "has a dimIncrement or dimIndex, but no dim: it is not an array");
        }
        return {isTemplate ? withoutPlaceholder(definition.name) : std::string(definition.name), {}, 0};
    }

    std::vector<Position> elementsOf(const Definition& definition, std::uint64_t room) {
        const auto array = std::make_shared<const Array>(arrayOf(definition));
        const auto indexes = indexesOf(definition, array->size);
        std::uint64_t count = array->size;
        if (count > 1 && (count - 1) * array->increment > room) {
            warn(definition, problemBeyondRoom(definition) + ": these elements are not used");
            count = room / array->increment + 1;
        }
        std::vector<Position> positions;
        for (std::uint64_t i = 0; i < count; ++i) {
            const std::string index = indexes->at(i);
            positions.push_back({withIndex(array->name, index), {array, i, index}, i * array->increment});
        }
        return positions;
    }

    Array arrayOf(const Definition& definition) {
        Array array;
        array.name = definition.name;
        if (!hasPlaceholder(array.name)) {
            warn(definition, "is an array without a placeholder for the index in its name: [%s] is added");
            array.name += "[%s]";
        }
        array.structName = definition.dimension.structName;
        array.size = *definition.dimension.size;
        array.increment = definition.dimension.increment.value_or(0);
        if (array.size > 1 && array.increment == 0) {
            warn(definition, "is an array whose dimIncrement is missing or 0: only its first element is used");
            array.size = 1;
        }
        if (array.increment > UINT64_MAX / array.size) {
            warn(definition, "is an array whose offsets do not fit in 64 bits: only its first element is used");
            array.size = 1;
        }
        array.indexNames = definition.dimension.indexNames;
        return array;
    }

    std::shared_ptr<const Indexes> indexesOf(const Definition& definition, std::uint64_t size) {
        const std::string_view text = definition.dimension.index;
        if (text.empty()) {
            return std::make_shared<Indexes>(0, size);
        }
        auto indexes = parsed(text);
        if (!indexes || indexes->size() < size) {
            warn(definition, "has the dimIndex '" + std::string(text.substr(0, 80)) + "', which does not name " +
                                 std::to_string(size) + " indexes: the elements are numbered from 0");
            return std::make_shared<Indexes>(0, size);
        }
        if (indexes->size() > *definition.dimension.size) {
            warn(definition,
                 "has more indexes in its dimIndex than its dim has elements: the last indexes are not used");
        }
        return indexes;
    }

    /** Returns the indexes of a dimIndex; null if the text does not give indexes. */
    std::shared_ptr<const Indexes> parsed(std::string_view dimIndex) {
        // Parses a text only once, because it may be long, and derived arrays share it.
        const auto [known, isNew] = m_indexes.try_emplace(dimIndex.data());
        if (isNew) {
            if (auto indexes = parseIndexes(dimIndex, m_limits.arraySize)) {
                known->second = std::make_shared<Indexes>(std::move(*indexes));
            }
        }
        return known->second;
    }

    // Peripherals and clusters

    void addPeripherals(std::vector<Peripheral>& peripherals, const Definition& definition, const Properties& around) {
        if (!definition.offset) {
            warn(definition, "has no baseAddress: 0 is assumed");
        }
        const Content content = contentOf(definition, refine(around, definition.properties), 0);
        Peripheral peripheral;
        peripheral.description = textOf(definition.description);
        peripheral.alternatePeripheral = definition.alternative;
        peripheral.headerStructName = definition.headerStructName;
        peripheral.prependToName = definition.prependToName;
        peripheral.appendToName = definition.appendToName;
        peripheral.addressBlocks = SharedList<AddressBlock>(definition.addressBlocks);
        peripheral.interrupts = SharedList<Interrupt>(definition.interrupts);
        peripheral.registers = content.registers;
        peripheral.clusters = content.clusters;
        peripheral.line = definition.line;
        const std::uint64_t address = definition.offset.value_or(0);
        for (Position& position : positionsOf(definition, roomAfter(definition))) {
            m_elements += content.elements + 1;
            expectAtMost(definition, m_elements);
            peripheral.name = std::move(position.name);
            peripheral.arrayElement = std::move(position.element);
            peripheral.baseAddress = address + position.distance;
            peripherals.push_back(peripheral);
        }
    }

    Content contentOf(const Definition& definition, const Properties& properties, std::size_t depth) {
        if (!definition.children) {
            warn(definition, "has no registers");
            return {};
        }
        const auto known = m_contents.find({definition.children.get(), properties});
        if (known != m_contents.end()) {
            return known->second;
        }
        std::vector<Register> registers;
        std::vector<Cluster> clusters;
        Content content;
        for (const Definition* const unresolved : *definition.children) {
            const Definition& child = m_derivation.resolve(*unresolved);
            const std::uint64_t added = child.kind == Kind::Cluster
                                            ? addClusters(clusters, child, properties, depth + 1)
                                            : addRegisters(registers, child, properties);
            countIfLeftOut(child, added);
            content.elements += added;
        }
        content.registers = SharedList<Register>(std::move(registers));
        content.clusters = SharedList<Cluster>(std::move(clusters));
        return m_contents[{definition.children.get(), properties}] = content;
    }

    bool hasOffset(const Definition& definition) {
        if (!definition.offset) {
            warn(definition, "has no addressOffset, and is not used");
        }
        return definition.offset.has_value();
    }

    /** Returns the number of added clusters, registers and fields, at all levels. */
    std::uint64_t addClusters(std::vector<Cluster>& clusters, const Definition& definition, const Properties& around,
                              std::size_t depth) {
        if (depth > m_limits.clusterDepth) {
            throw MalformedMap(definition.line, "clusters are nested more than " +
                                                    std::to_string(m_limits.clusterDepth) + " levels deep");
        }
        if (!hasOffset(definition)) {
            return 0;
        }
        const Content content = contentOf(definition, refine(around, definition.properties), depth);
        Cluster cluster;
        cluster.description = textOf(definition.description);
        cluster.alternateCluster = definition.alternative;
        cluster.headerStructName = definition.headerStructName;
        cluster.registers = content.registers;
        cluster.clusters = content.clusters;
        cluster.line = definition.line;
        std::uint64_t elements = 0;
        for (Position& position : positionsOf(definition, roomAfter(definition))) {
            countCreated(definition);
            elements += content.elements + 1;
            expectAtMost(definition, elements);
            cluster.name = std::move(position.name);
            cluster.arrayElement = std::move(position.element);
            cluster.offset = *definition.offset + position.distance;
            clusters.push_back(cluster);
        }
        return elements;
    }

    // Registers

    std::uint64_t addRegisters(std::vector<Register>& registers, const Definition& definition,
                               const Properties& around) {
        if (!hasOffset(definition)) {
            return 0;
        }
        Register aRegister = registerOf(definition, refine(around, definition.properties));
        std::uint64_t elements = 0;
        for (Position& position : positionsOf(definition, roomAfter(definition))) {
            countCreated(definition);
            elements += aRegister.fields.size() + 1;
            expectAtMost(definition, elements);
            aRegister.name = std::move(position.name);
            aRegister.arrayElement = std::move(position.element);
            aRegister.offset = *definition.offset + position.distance;
            aRegister.displayName = withIndex(definition.displayName, aRegister.arrayElement.index);
            aRegister.alternateRegister = withIndex(definition.alternative, aRegister.arrayElement.index);
            registers.push_back(aRegister);
        }
        return elements;
    }

    Register registerOf(const Definition& definition, const Properties& properties) {
        Register aRegister;
        aRegister.description = textOf(definition.description);
        aRegister.alternateGroup = definition.alternateGroup;
        aRegister.size = sizeOf(definition, properties);
        aRegister.access = accessOf(definition, properties);
        aRegister.protection = properties.protection;
        setReset(aRegister, definition, properties);
        aRegister.readAction = definition.readAction;
        aRegister.modifiedWrite = definition.modifiedWrite.value_or(ModifiedWrite::Modify);
        aRegister.writeConstraint = definition.writeConstraint;
        aRegister.fields = fieldsOf(definition, aRegister);
        aRegister.line = definition.line;
        return aRegister;
    }

    Access accessOf(const Definition& definition, const Properties& properties) {
        if (properties.access) {
            return *properties.access;
        }
        if (const auto access = accessOfFields(definition)) {
            warn(definition, "has no access: the access of its fields is assumed");
            return *access;
        }
        warn(definition, "has no access: read-write is assumed");
        return Access::ReadWrite;
    }

    /**
     * Returns the access that allows reading if at least one field can be read, and writing if at least one field can
     * be written; none if there are no fields, or if a field does not give its access.
     */
    std::optional<Access> accessOfFields(const Definition& definition) {
        bool canBeRead = false;
        bool canBeWritten = false;
        for (const Definition* const child : definition.children ? *definition.children : Definitions()) {
            const auto access = m_derivation.resolve(*child).properties.access;
            if (!access) {
                return std::nullopt;
            }
            canBeRead = canBeRead || isReadable(*access);
            canBeWritten = canBeWritten || isWritable(*access);
        }
        if (canBeRead && canBeWritten) {
            return Access::ReadWrite;
        }
        return canBeRead      ? std::optional<Access>(Access::ReadOnly)
               : canBeWritten ? std::optional<Access>(Access::WriteOnly)
                              : std::nullopt;
    }

    unsigned int sizeOf(const Definition& definition, const Properties& properties) {
        constexpr unsigned int usual = 32;
        if (!properties.size || *properties.size == 0 || *properties.size > highestBit) {
            warn(definition, "has no valid size (1 to " + std::to_string(highestBit) + " bits): 32 bits are assumed");
            return usual;
        }
        const auto size = static_cast<unsigned int>(*properties.size);
        if (size != 8 && size != 16 && size != 32 && size != widest) {
            warn(definition, "has " + Common::counted(size, "bit") + " (8, 16, 32 or 64 are usual)");
        }
        return size;
    }

    void setReset(Register& aRegister, const Definition& definition, const Properties& properties) {
        const std::uint64_t bits = lowBits(aRegister.size);
        aRegister.resetMask = properties.resetMask.value_or(UINT64_MAX) & bits;
        if (properties.resetValue) {
            aRegister.resetValue = *properties.resetValue & bits;
        }
        if (properties.resetValue.value_or(0) > bits) {
            warn(definition, "has a reset value that does not fit in its " + Common::counted(aRegister.size, "bit"));
        }
        // Does not check a mask that an outer element gives, because that mask may also be for wider registers.
        if (definition.properties.resetMask.value_or(0) > bits) {
            warn(definition, "has a reset mask that does not fit in its " + Common::counted(aRegister.size, "bit"));
        }
    }

    // Fields

    SharedList<Field> fieldsOf(const Definition& definition, const Register& aRegister) {
        if (!definition.children) {
            return {};
        }
        std::vector<Field> fields;
        for (const Definition* const child : *definition.children) {
            const std::size_t before = fields.size();
            addFields(fields, m_derivation.resolve(*child), aRegister);
            countIfLeftOut(*child, fields.size() - before);
        }
        return SharedList<Field>(std::move(fields));
    }

    /**
     * Returns the write constraint that a field inherits. A field does not inherit a range, because the range is for
     * values of the whole register. A field inherits a constraint to enumerated values only if the field has enumerated
     * values for writing. Otherwise, the constraint would exclude all values of the field.
     */
    static std::optional<WriteConstraint> inheritedConstraint(const Register& aRegister, const Field& field) {
        const auto& constraint = aRegister.writeConstraint;
        const bool isInherited =
            constraint && (constraint->kind == WriteConstraint::Kind::WriteAsRead ||
                           (constraint->kind == WriteConstraint::Kind::EnumeratedValues && hasValuesToWrite(field)));
        return isInherited ? constraint : std::nullopt;
    }

    static bool hasValuesToWrite(const Field& field) {
        return std::any_of(field.enumerations.begin(), field.enumerations.end(), [](const Enumeration& enumeration) {
            return enumeration.usage != Usage::Read && !enumeration.values.empty();
        });
    }

    void addFields(std::vector<Field>& fields, const Definition& definition, const Register& aRegister) {
        const auto bits = bitsOf(definition);
        if (!bits) {
            return;
        }
        Field field;
        field.description = textOf(definition.description);
        field.access = definition.properties.access.value_or(aRegister.access);
        field.readAction = definition.readAction ? definition.readAction : aRegister.readAction;
        field.modifiedWrite = definition.modifiedWrite.value_or(aRegister.modifiedWrite);
        field.enumerations = enumerationsOf(definition);
        field.writeConstraint =
            definition.writeConstraint ? definition.writeConstraint : inheritedConstraint(aRegister, field);
        field.line = definition.line;
        for (Position& position : positionsOf(definition, highestBit - bits->second)) {
            field.lsb = static_cast<unsigned int>(bits->first + position.distance);
            field.msb = static_cast<unsigned int>(bits->second + position.distance);
            field.name = std::move(position.name);
            field.arrayElement = std::move(position.element);
            countCreated(definition);
            fields.push_back(field);
        }
    }

    /** Returns the lowest and the highest bit; none, with a warning, if the bit range is missing or invalid. */
    std::optional<std::pair<std::uint64_t, std::uint64_t>> bitsOf(const Definition& definition) {
        const BitRange& bits = definition.bits;
        const bool hasWidth = bits.width.value_or(1) != 0 && bits.width.value_or(1) <= highestBit;
        if (!bits.lsb || *bits.lsb > highestBit || bits.msb.value_or(0) > highestBit || !hasWidth) {
            warn(definition, "has no valid bit range (bits 0 to 65535), and is not used");
            return std::nullopt;
        }
        const std::uint64_t msb = bits.msb.value_or(*bits.lsb + bits.width.value_or(1) - 1);
        if (msb > highestBit) {
            warn(definition, "has no valid bit range (bits 0 to 65535), and is not used");
            return std::nullopt;
        }
        if (bits.msb && bits.width && *bits.lsb + *bits.width - 1 != msb) {
            warn(definition, "has a width that contradicts its most significant bit: the width is not used");
        }
        if (msb < *bits.lsb) {
            warn(definition, "has its most significant bit below its least significant bit: both are swapped");
        }
        return std::make_pair(std::min(*bits.lsb, msb), std::max(*bits.lsb, msb));
    }

    SharedList<Enumeration> enumerationsOf(const Definition& definition) {
        if (!definition.enumerations) {
            return {};
        }
        const auto [known, isNew] = m_enumerations.try_emplace(definition.enumerations.get());
        if (isNew) {
            std::vector<Enumeration> enumerations;
            for (const EnumerationDefinition& own : *definition.enumerations) {
                Enumeration enumeration = enumerationOf(own);
                if (!enumeration.values.empty()) {
                    enumerations.push_back(std::move(enumeration));
                }
            }
            known->second = SharedList<Enumeration>(std::move(enumerations));
        }
        return known->second;
    }

    Enumeration enumerationOf(const EnumerationDefinition& own) {
        const EnumerationDefinition& source = m_derivation.resolve(own);
        Enumeration enumeration;
        enumeration.name = own.name.empty() ? source.name : own.name;
        enumeration.headerEnumName = own.headerEnumName.empty() ? source.headerEnumName : own.headerEnumName;
        enumeration.usage = own.usage ? *own.usage : source.usage.value_or(Usage::ReadWrite);
        enumeration.values = own.values.empty() ? source.values : own.values;
        return enumeration;
    }

    Derivation m_derivation;
    Warnings& m_warnings;
    const Limits& m_limits;
    std::uint64_t m_made = 0;
    std::uint64_t m_elements = 0;
    std::map<std::pair<const Definitions*, Properties>, Content, ByContent> m_contents;
    std::map<const std::vector<EnumerationDefinition>*, SharedList<Enumeration>> m_enumerations;
    /** The parsed texts of dimIndex, by the addresses of the texts. */
    std::map<const char*, std::shared_ptr<const Indexes>> m_indexes;
};

} // namespace

Device expand(const Definition& device, Warnings& warnings, const Limits& limits) {
    return Expansion(device, warnings, limits).expandDevice(device);
}

} // namespace Maps
