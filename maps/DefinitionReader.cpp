// SPDX-License-Identifier: MIT
#include "DefinitionReader.h"

#include <algorithm>
#include <utility>

#include "ScaledNumber.h"
#include "TextEncoding.h"

namespace Maps {

namespace {

using Kind = Definition::Kind;
using DefinitionTag = Tags<Definition>::Tag;
using TagGroup = std::vector<DefinitionTag>;

constexpr Words<Access, 5> accessWords{{{"read-only", Access::ReadOnly},
                                        {"write-only", Access::WriteOnly},
                                        {"read-write", Access::ReadWrite},
                                        {"writeOnce", Access::WriteOnce},
                                        {"read-writeOnce", Access::ReadWriteOnce}}};

constexpr Words<Protection, 3> protectionWords{
    {{"s", Protection::Secure}, {"n", Protection::NonSecure}, {"p", Protection::Privileged}}};

constexpr Words<ReadAction, 4> readActionWords{{{"clear", ReadAction::Clear},
                                                {"set", ReadAction::Set},
                                                {"modify", ReadAction::Modify},
                                                {"modifyExternal", ReadAction::ModifyExternal}}};

constexpr Words<ModifiedWrite, 9> modifiedWriteWords{{{"oneToClear", ModifiedWrite::OneToClear},
                                                      {"oneToSet", ModifiedWrite::OneToSet},
                                                      {"oneToToggle", ModifiedWrite::OneToToggle},
                                                      {"zeroToClear", ModifiedWrite::ZeroToClear},
                                                      {"zeroToSet", ModifiedWrite::ZeroToSet},
                                                      {"zeroToToggle", ModifiedWrite::ZeroToToggle},
                                                      {"clear", ModifiedWrite::Clear},
                                                      {"set", ModifiedWrite::Set},
                                                      {"modify", ModifiedWrite::Modify}}};

constexpr Words<Usage, 3> usageWords{
    {{"read", Usage::Read}, {"write", Usage::Write}, {"read-write", Usage::ReadWrite}}};

constexpr Words<AddressBlock::Usage, 3> blockUsageWords{{{"registers", AddressBlock::Usage::Registers},
                                                         {"buffer", AddressBlock::Usage::Buffer},
                                                         {"reserved", AddressBlock::Usage::Reserved}}};

/** Accepts an element that the format allows, without reading the element. */
template <typename Target>
void ignore(Target&, const Element&) {}

// Enumerated values

struct ValueDefinition {
    EnumeratedValue value;
    bool hasValue = false;
};

void readValue(ValueDefinition& target, const Element& element) {
    const std::string_view text = element.text();
    if (const auto pattern = parseBitPattern(text)) {
        target.value.value = pattern->value;
        target.value.mask = pattern->mask;
        target.hasValue = true;
    } else if (!text.empty()) {
        element.warn(element.quoted(text) + " is not a number of up to 64 bits, and is not used");
    }
}

const Tags<ValueDefinition>& valueTags() {
    static const Tags<ValueDefinition> tags{
        {{"name", [](ValueDefinition& v, const Element& e) { v.value.name = oneLine(std::string(e.name())); }},
         {"description", [](ValueDefinition& v, const Element& e) { v.value.description = Text(e.plainText()); }},
         {"value", readValue},
         {"isDefault", [](ValueDefinition& v, const Element& e) { v.value.isDefault = e.boolean().value_or(false); }}}};
    return tags;
}

void readEnumeratedValue(std::vector<EnumeratedValue>& values, const Element& element) {
    element.expectNoAttributes();
    ValueDefinition definition;
    definition.value.line = element.line();
    valueTags().readInto(definition, element);
    EnumeratedValue& value = definition.value;
    if (!definition.hasValue && !value.isDefault) {
        element.warn("enumerated value '" + value.name + "' has no value, and is not used");
        return;
    }
    if (value.name.empty()) {
        element.warn("an enumerated value has no name");
    }
    if (definition.hasValue && value.isDefault) {
        element.warn("enumerated value '" + value.name + "' has a value and is the default: the value is used");
        value.isDefault = false;
    }
    values.push_back(std::move(value));
}

/** The enumerated values that have been read so far, and the target that they belong to. */
template <typename Target>
struct ValuesOf {
    Target& target;
    std::vector<EnumeratedValue> values;
};

using EnumerationTarget = ValuesOf<EnumerationDefinition>;

const Tags<EnumerationTarget>& enumerationTags() {
    static const Tags<EnumerationTarget> tags{
        {{"name", [](EnumerationTarget& t, const Element& e) { t.target.name = e.name(); }},
         {"headerEnumName", [](EnumerationTarget& t, const Element& e) { t.target.headerEnumName = e.name(); }},
         {"usage", [](EnumerationTarget& t, const Element& e) { t.target.usage = e.word(usageWords); }},
         {"enumeratedValue", [](EnumerationTarget& t, const Element& e) { readEnumeratedValue(t.values, e); }, true}}};
    return tags;
}

void readEnumeration(Definition& field, const Element& element) {
    // The format allows two enumeratedValues for a field, one for reading and one for writing. The reader accepts up to
    // 16. The number is limited, because the search for the name of a value covers all enumeratedValues.
    constexpr std::size_t most = 16;
    if (field.enumerations && field.enumerations->size() == most) {
        element.warn("the field has more than " + std::to_string(most) +
                     " elements 'enumeratedValues': this element and later ones are not used");
        return;
    }
    EnumerationDefinition definition;
    definition.line = element.line();
    definition.field = &field;
    definition.derivedFrom = element.derivedFrom();
    EnumerationTarget target{definition, {}};
    enumerationTags().readInto(target, element);
    if (target.values.empty() && definition.derivedFrom.empty()) {
        element.warn("element 'enumeratedValues' has no usable enumerated value, and is not used");
        return;
    }
    if (!target.values.empty()) {
        if (!definition.derivedFrom.empty()) {
            element.warn("element 'enumeratedValues' is derived and also contains values: the values are used");
        }
        definition.values = SharedList<EnumeratedValue>(std::move(target.values));
    }
    addTo(field.enumerations, std::move(definition));
}

using IndexNamesTarget = ValuesOf<Enumeration>;

const Tags<IndexNamesTarget>& indexNamesTags() {
    static const Tags<IndexNamesTarget> tags{
        {{"headerEnumName", [](IndexNamesTarget& t, const Element& e) { t.target.headerEnumName = e.name(); }},
         {"enumeratedValue", [](IndexNamesTarget& t, const Element& e) { readEnumeratedValue(t.values, e); }, true}}};
    return tags;
}

void readIndexNames(Definition& definition, const Element& element) {
    element.expectNoAttributes();
    IndexNamesTarget target{definition.dimension.indexNames, {}};
    indexNamesTags().readInto(target, element);
    definition.dimension.indexNames.values = SharedList<EnumeratedValue>(std::move(target.values));
}

// Bit ranges and write constraints

/** An element that gives a bit range, or a part of one. */
struct BitElement {
    Element element;
    BitRange bits;
};

/** The tags of the elements that make up one notation of a bit range. */
using Notation = std::vector<std::string_view>;

const std::vector<Notation>& notations() {
    static const std::vector<Notation> all{{"bitOffset", "bitWidth"}, {"lsb", "msb"}, {"bitRange"}};
    return all;
}

bool hasTag(const Notation& notation, std::string_view tag) {
    return std::find(notation.begin(), notation.end(), tag) != notation.end();
}

BitRange parseBitRange(const Element& element) {
    const std::string_view text = element.text();
    const std::size_t colon = text.find(':');
    const bool hasBrackets = text.size() > 2 && text.front() == '[' && text.back() == ']';
    if (hasBrackets && colon != std::string_view::npos) {
        const auto msb = parseScaledNumber(trimmed(text.substr(1, colon - 1)));
        const auto lsb = parseScaledNumber(trimmed(text.substr(colon + 1, text.size() - colon - 2)));
        if (msb && lsb) {
            return {lsb, msb, {}};
        }
    }
    if (!text.empty()) {
        element.warn(element.quoted(text) + " is not of the form [MSB:LSB], and is not used");
    }
    return {};
}

BitRange bitsIn(const Element& element) {
    if (element.tag() == "bitRange") {
        return parseBitRange(element);
    }
    if (element.tag() == "bitWidth") {
        return {{}, {}, element.number()};
    }
    return element.tag() == "msb" ? BitRange{{}, element.number(), {}} : BitRange{element.number(), {}, {}};
}

/** Returns the first element of each tag that describes the bits of a field, in the order of the file. */
std::vector<BitElement> bitElementsOf(const Element& field) {
    std::vector<BitElement> elements;
    for (const pugi::xml_node& node : field.node().children()) {
        const Element element(field.source(), node);
        const bool isRepeated = std::any_of(elements.begin(), elements.end(), [&element](const BitElement& earlier) {
            return earlier.element.tag() == element.tag();
        });
        const bool isOfBits = std::any_of(notations().begin(), notations().end(), [&element](const Notation& notation) {
            return hasTag(notation, element.tag());
        });
        if (isOfBits && !isRepeated) {
            elements.push_back({element, bitsIn(element)});
        }
    }
    return elements;
}

/** Adds the numbers that a bit range does not have yet. */
void complete(BitRange& bits, const BitRange& more) {
    bits.lsb = bits.lsb ? bits.lsb : more.lsb;
    bits.msb = bits.msb ? bits.msb : more.msb;
    bits.width = bits.width ? bits.width : more.width;
}

/** Returns the first bit range that is complete in one notation. If none is complete, combines the notations. */
BitRange firstComplete(const std::vector<BitElement>& elements) {
    BitRange mixed;
    std::vector<BitRange> ranges(notations().size());
    for (const BitElement& each : elements) {
        complete(mixed, each.bits);
        for (std::size_t i = 0; i < ranges.size(); ++i) {
            if (hasTag(notations()[i], each.element.tag())) {
                complete(ranges[i], each.bits);
                if (ranges[i].lsb && (ranges[i].msb || ranges[i].width)) {
                    return ranges[i];
                }
            }
        }
    }
    return mixed;
}

using MaybeNumber = std::optional<std::uint64_t>;

bool differ(MaybeNumber one, MaybeNumber other) { return one && other && *one != *other; }

bool contradict(const BitRange& used, const BitRange& given) {
    const MaybeNumber msb = used.lsb && used.width ? MaybeNumber(*used.lsb + *used.width - 1) : used.msb;
    return differ(used.lsb, given.lsb) || differ(msb, given.msb) || differ(widthOf(used), given.width);
}

void readBits(Definition& field, const Element& element) {
    const std::vector<BitElement> elements = bitElementsOf(element);
    field.bits = firstComplete(elements);
    for (const BitElement& each : elements) {
        if (contradict(field.bits, each.bits)) {
            each.element.warn(each.element.quoted(each.element.text()) +
                              " contradicts another bit range, and is not used");
        }
    }
}

struct RangeLimits {
    std::optional<std::uint64_t> minimum;
    std::optional<std::uint64_t> maximum;
};

const Tags<RangeLimits>& rangeTags() {
    static const Tags<RangeLimits> tags{
        {{"minimum", [](RangeLimits& r, const Element& e) { r.minimum = e.number(); }},
         {"maximum", [](RangeLimits& r, const Element& e) { r.maximum = e.number(); }}}};
    return tags;
}

void readRange(std::optional<WriteConstraint>& constraint, const Element& element) {
    element.expectNoAttributes();
    RangeLimits range;
    rangeTags().readInto(range, element);
    if (!range.minimum || !range.maximum || *range.minimum > *range.maximum) {
        element.warn("a range has no minimum or maximum, or its maximum is below its minimum, and is not used");
        return;
    }
    constraint = {WriteConstraint::Kind::Range, *range.minimum, *range.maximum};
}

using MaybeConstraint = std::optional<WriteConstraint>;

void readConstraintFlag(MaybeConstraint& constraint, WriteConstraint::Kind kind, const Element& element) {
    if (element.boolean().value_or(false)) {
        constraint = {kind, 0, 0};
    }
}

const Tags<MaybeConstraint>& constraintTags() {
    static const Tags<MaybeConstraint> tags{
        {{"writeAsRead",
          [](MaybeConstraint& c, const Element& e) { readConstraintFlag(c, WriteConstraint::Kind::WriteAsRead, e); }},
         {"useEnumeratedValues",
          [](MaybeConstraint& c, const Element& e) {
              readConstraintFlag(c, WriteConstraint::Kind::EnumeratedValues, e);
          }},
         {"range", readRange}}};
    return tags;
}

void readConstraint(Definition& definition, const Element& element) {
    element.expectNoAttributes();
    constraintTags().readInto(definition.writeConstraint, element);
}

// Address blocks and interrupts

struct BlockDefinition {
    AddressBlock block;
    bool hasSize = false;
};

const Tags<BlockDefinition>& blockTags() {
    static const Tags<BlockDefinition> tags{
        {{"offset", [](BlockDefinition& b, const Element& e) { b.block.offset = e.number().value_or(0); }},
         {"size",
          [](BlockDefinition& b, const Element& e) {
              const auto size = e.number();
              b.hasSize = size.has_value();
              b.block.size = size.value_or(0);
          }},
         {"usage",
          [](BlockDefinition& b, const Element& e) {
              b.block.usage = e.word(blockUsageWords).value_or(AddressBlock::Usage::Registers);
          }},
         {"protection", [](BlockDefinition& b, const Element& e) { b.block.protection = e.word(protectionWords); }}}};
    return tags;
}

void readBlock(Definition& peripheral, const Element& element) {
    element.expectNoAttributes();
    BlockDefinition definition;
    blockTags().readInto(definition, element);
    if (!definition.hasSize) {
        element.warn("an address block has no size, and is not used");
        return;
    }
    addTo(peripheral.addressBlocks, definition.block);
}

struct InterruptDefinition {
    Interrupt interrupt;
    bool hasValue = false;
};

/** Reads an integer, which may be negative. */
void readInterruptValue(InterruptDefinition& target, const Element& element) {
    const std::string_view text = element.text();
    const bool isNegative = text.substr(0, 1) == "-";
    const auto number = parseScaledNumber(text.substr(isNegative ? 1 : 0));
    target.hasValue = number && *number <= INT64_MAX;
    if (target.hasValue) {
        const auto value = static_cast<std::int64_t>(*number);
        target.interrupt.value = isNegative ? -value : value;
    } else if (!text.empty()) {
        element.warn(element.quoted(text) + " is not an integer of up to 64 bits, and is not used");
    }
}

const Tags<InterruptDefinition>& interruptTags() {
    static const Tags<InterruptDefinition> tags{
        {{"name", [](InterruptDefinition& i, const Element& e) { i.interrupt.name = e.plainText(); }},
         {"description", [](InterruptDefinition& i, const Element& e) { i.interrupt.description = e.plainText(); }},
         {"value", readInterruptValue}}};
    return tags;
}

void readInterrupt(Definition& peripheral, const Element& element) {
    element.expectNoAttributes();
    InterruptDefinition definition;
    interruptTags().readInto(definition, element);
    if (definition.interrupt.name.empty() || !definition.hasValue) {
        element.warn("an interrupt has no name or no value, and is not used");
        return;
    }
    addTo(peripheral.interrupts, std::move(definition.interrupt));
}

const Tags<Definition>& tagsOf(Kind kind);

std::size_t clusterDepthOf(const Definition* definition) {
    std::size_t depth = 0;
    for (; definition->kind == Kind::Cluster; definition = definition->parent) {
        ++depth;
    }
    return depth;
}

void expectDepth(const Definition& definition, std::size_t most) {
    if (clusterDepthOf(&definition) > most) {
        throw MalformedMap(definition.line, "clusters are nested more than " + std::to_string(most) + " levels deep");
    }
}

Definition& addDefinition(Kind kind, const Definition* parent, const Element& element) {
    Definition& definition = element.source().definitions.emplace_back();
    definition.kind = kind;
    definition.line = element.line();
    definition.parent = parent;
    return definition;
}

void warnOfMissing(const Definition& definition, const Element& element) {
    const bool needsDescription = definition.kind == Kind::Cluster || definition.kind == Kind::Device;
    if (needsDescription && definition.description.empty() && definition.derivedFrom.empty()) {
        element.warn(describe(definition) + " has no description");
    }
}

template <Kind kind>
void readChild(Definition& parent, const Element& element) {
    Definition& child = addDefinition(kind, &parent, element);
    expectDepth(child, element.source().limits.clusterDepth);
    child.derivedFrom = element.derivedFrom();
    tagsOf(kind).readInto(child, element);
    if (kind == Kind::Field) {
        readBits(child, element);
    }
    if (child.name.empty()) {
        element.warn("a " + std::string(tagOf(kind)) + " has no name, and is not used");
        return;
    }
    warnOfMissing(child, element);
    addTo<const Definition*>(parent.children, &child);
}

/** Reads an element that contains only a list of elements. Adds the elements to the children of the parent. */
void readList(Definition& parent, const Element& element, const Tags<Definition>& tags) {
    element.expectNoAttributes();
    if (parent.children) {
        element.warn("element '" + std::string(element.tag()) + "' occurs more than once: all are used");
    }
    tags.readInto(parent, element);
}

void readPeripherals(Definition& device, const Element& element) {
    static const Tags<Definition> tags{{{"peripheral", readChild<Kind::Peripheral>, true}}};
    readList(device, element, tags);
}

void readRegisters(Definition& peripheral, const Element& element) {
    static const Tags<Definition> tags{
        {{"cluster", readChild<Kind::Cluster>, true}, {"register", readChild<Kind::Register>, true}}};
    readList(peripheral, element, tags);
}

void readFields(Definition& aRegister, const Element& element) {
    static const Tags<Definition> tags{{{"field", readChild<Kind::Field>, true}}};
    readList(aRegister, element, tags);
}

TagGroup commonTags() {
    return {{"name", [](Definition& d, const Element& e) { d.name = e.name(); }},
            {"description", [](Definition& d, const Element& e) { d.description = e.text(); }}};
}

TagGroup dimensionTags() {
    return {{"dim", [](Definition& d, const Element& e) { d.dimension.size = e.number(); }},
            {"dimIncrement", [](Definition& d, const Element& e) { d.dimension.increment = e.number(); }},
            {"dimIndex", [](Definition& d, const Element& e) { d.dimension.index = e.text(); }},
            {"dimName", [](Definition& d, const Element& e) { d.dimension.structName = e.name(); }},
            {"dimArrayIndex", readIndexNames}};
}

void readAccess(Definition& definition, const Element& element) {
    const std::string_view given = element.text();
    if (given == "read" || given == "write") {
        element.warn(element.quoted(given) + " should be written '" + std::string(given) + "-only'");
        definition.properties.access = given == "read" ? Access::ReadOnly : Access::WriteOnly;
    } else if (!given.empty()) {
        definition.properties.access = element.word(accessWords);
    }
}

void readOffset(Definition& definition, const Element& element) { definition.offset = element.number(); }

TagGroup propertyTags() {
    return {{"size", [](Definition& d, const Element& e) { d.properties.size = e.number(); }},
            {"access", readAccess},
            {"protection", [](Definition& d, const Element& e) { d.properties.protection = e.word(protectionWords); }},
            {"resetValue", [](Definition& d, const Element& e) { d.properties.resetValue = e.number(); }},
            {"resetMask", [](Definition& d, const Element& e) { d.properties.resetMask = e.number(); }}};
}

TagGroup effectTags() {
    return {
        {"readAction", [](Definition& d, const Element& e) { d.readAction = e.word(readActionWords); }},
        {"modifiedWriteValues", [](Definition& d, const Element& e) { d.modifiedWrite = e.word(modifiedWriteWords); }},
        {"writeConstraint", readConstraint}};
}

DefinitionTag alternativeTag(std::string_view name) {
    return {name, [](Definition& d, const Element& e) { d.alternative = e.name(); }};
}

DefinitionTag headerStructTag() {
    return {"headerStructName", [](Definition& d, const Element& e) { d.headerStructName = e.name(); }};
}

TagGroup deviceOwnTags() {
    return {{"version", [](Definition& d, const Element& e) { d.version = e.text(); }},
            {"addressUnitBits", [](Definition& d, const Element& e) { d.addressUnitBits = e.number(); }},
            {"width", [](Definition& d, const Element& e) { d.width = e.number(); }},
            {"peripherals", readPeripherals, true},
            {"vendor", ignore},
            {"vendorID", ignore},
            {"series", ignore},
            {"licenseText", ignore},
            {"cpu", ignore},
            {"headerSystemFilename", ignore},
            {"headerDefinitionsPrefix", ignore},
            {"vendorExtensions", ignore}};
}

TagGroup peripheralOwnTags() {
    return {{"version", ignore},
            alternativeTag("alternatePeripheral"),
            {"groupName", ignore},
            {"prependToName", [](Definition& d, const Element& e) { d.prependToName = e.name(); }},
            {"appendToName", [](Definition& d, const Element& e) { d.appendToName = e.name(); }},
            headerStructTag(),
            {"disableCondition", ignore},
            {"baseAddress", readOffset},
            {"addressBlock", readBlock, true},
            {"interrupt", readInterrupt, true},
            {"registers", readRegisters, true}};
}

TagGroup clusterOwnTags() {
    return {alternativeTag("alternateCluster"),
            headerStructTag(),
            {"addressOffset", readOffset},
            {"register", readChild<Kind::Register>, true},
            {"cluster", readChild<Kind::Cluster>, true}};
}

TagGroup registerOwnTags() {
    return {{"displayName", [](Definition& d, const Element& e) { d.displayName = e.shortText(); }},
            {"alternateGroup", [](Definition& d, const Element& e) { d.alternateGroup = e.name(); }},
            alternativeTag("alternateRegister"),
            {"addressOffset", readOffset},
            {"dataType", ignore},
            {"fields", readFields, true}};
}

TagGroup fieldOwnTags() {
    // readBits() reads the elements for the bit range, because it needs all of them at the same time.
    return {{"lsb", ignore},
            {"msb", ignore},
            {"bitOffset", ignore},
            {"bitWidth", ignore},
            {"bitRange", ignore},
            {"access", readAccess},
            {"enumeratedValues", readEnumeration, true}};
}

const Tags<Definition>& tagsOf(Kind kind) {
    static const Tags<Definition> device{commonTags(), propertyTags(), deviceOwnTags()};
    static const Tags<Definition> peripheral{commonTags(), dimensionTags(), propertyTags(), peripheralOwnTags()};
    static const Tags<Definition> cluster{commonTags(), dimensionTags(), propertyTags(), clusterOwnTags()};
    static const Tags<Definition> aRegister{commonTags(), dimensionTags(), propertyTags(), effectTags(),
                                            registerOwnTags()};
    static const Tags<Definition> field{commonTags(), dimensionTags(), effectTags(), fieldOwnTags()};
    switch (kind) {
    case Kind::Device:
        return device;
    case Kind::Peripheral:
        return peripheral;
    case Kind::Cluster:
        return cluster;
    case Kind::Register:
        return aRegister;
    case Kind::Field:
        return field;
    }
    return device;
}

void warnOfMissingInDevice(const Definition& device, const Element& element) {
    if (device.name.empty()) {
        element.warn("the device has no name");
    }
    if (device.version.empty()) {
        element.warn("the device has no version");
    }
    if (!device.addressUnitBits) {
        element.warn("the device has no addressUnitBits (8 is assumed)");
    }
    if (!device.width) {
        element.warn("the device has no width (32 bits are assumed)");
    }
    warnOfMissing(device, element);
}

} // namespace

std::string_view tagOf(Kind kind) {
    switch (kind) {
    case Kind::Device:
        return "device";
    case Kind::Peripheral:
        return "peripheral";
    case Kind::Cluster:
        return "cluster";
    case Kind::Register:
        return "register";
    case Kind::Field:
        return "field";
    }
    return "";
}

std::string describe(const Definition& definition) {
    return std::string(tagOf(definition.kind)) + " '" + std::string(definition.name) + "'";
}

MaybeNumber widthOf(const BitRange& bits) {
    const bool hasBothEnds = bits.lsb && bits.msb && *bits.msb >= *bits.lsb && *bits.msb - *bits.lsb < UINT64_MAX;
    return hasBothEnds ? MaybeNumber(*bits.msb - *bits.lsb + 1) : bits.width;
}

const Definition& readDefinitions(Source& source) {
    const pugi::xml_node root = source.document.root();
    if (std::string_view(root.name()) != "device") {
        throw MalformedMap(root ? source.document.lineOf(root) : 1,
                           "the root of a map is 'device', not '" + std::string(root.name()) + "'");
    }
    const Element element(source, root);
    Definition& device = addDefinition(Kind::Device, nullptr, element);
    tagsOf(Kind::Device).readInto(device, element);
    if (!device.children) {
        throw MalformedMap(device.line, "the device has no peripherals");
    }
    warnOfMissingInDevice(device, element);
    return device;
}

} // namespace Maps
