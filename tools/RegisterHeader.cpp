// SPDX-License-Identifier: MIT
#include "RegisterHeader.h"

#include <algorithm>
#include <array>
#include <filesystem>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <sstream>
#include <utility>

#include "ArrayNames.h"
#include "FieldValues.h"
#include "MacroNames.h"
#include "Printable.h"

namespace Rynvelctl {

namespace {

using Names = std::vector<std::string>;

/** If several macros have the same name, the first macro with the lowest rank keeps the name. */
enum Rank { ofRegister, ofField, ofValue };

struct Macro {
    /** The end of the name, and later the whole name. Empty if the header already has the same macro. */
    std::string name;
    /** In parentheses; empty for a constant. */
    std::string parameters;
    std::string value;
    Rank rank = ofRegister;
};

/** The macros of a field, or those of a register itself. */
struct Group {
    /** The name of the field; empty for the register itself. */
    std::string field;
    std::vector<Macro> macros;
    /** The beginning of the names of the macros. */
    std::string name{};
};

/** The macros of a register, of all registers of an array, or of an array of clusters. */
struct Block {
    std::uint64_t offset = 0;
    std::string comment;
    /** The names that precede the name of a group. */
    Names names;
    std::vector<Group> groups;
    /** Whether the block describes a register. Only such a block gets a number if its name is not unique. */
    bool isRegister = true;
};

std::string constant(std::uint64_t value) {
    std::ostringstream text;
    text << "0x" << std::hex << value << (value > UINT32_MAX ? "ULL" : "U");
    return text.str();
}

/**
 * Makes a text safe for a comment in C: it neither ends nor begins a comment, and is one line without control
 * characters.
 */
std::string forComment(std::string text) {
    for (const std::string mark : {"*/", "/*"}) {
        for (std::size_t position = text.find(mark); position != std::string::npos; position = text.find(mark)) {
            text.insert(position + 1, " ");
        }
    }
    return printable(text);
}

std::string comment(const std::string& text) { return "/* " + forComment(text) + " */\n"; }

std::string described(const std::string& name, const std::string& description) {
    return description.empty() ? name : name + ": " + description;
}

/** Returns the name of the macro parameter at a position. */
std::string parameter(std::size_t position, std::size_t count) {
    return count == 1 ? "index" : "index" + std::to_string(position);
}

/** The path from the device to a register or a cluster: the names and the arrays on the way. */
struct Path {
    /** The names, with the index of each array element. */
    Names single;
    /** The same names, without the indexes. */
    Names shared;
    std::uint64_t offset = 0;
    std::vector<std::shared_ptr<const Maps::Array>> arrays{};
    bool isFirst = true;
    /** Whether the index of an array element differs from the position of the element in the array. */
    bool hasOwnIndex = false;

    bool isInArray() const { return !arrays.empty(); }

    template <typename Element>
    Path to(const Element& element) const {
        Path path = *this;
        path.offset += element.offset;
        path.single.push_back(element.name);
        path.shared.push_back(sharedName(element));
        if (element.arrayElement.array) {
            path.arrays.push_back(element.arrayElement.array);
            path.isFirst = isFirst && element.arrayElement.position == 0;
            path.hasOwnIndex =
                hasOwnIndex || element.arrayElement.index != std::to_string(element.arrayElement.position);
        }
        return path;
    }

    template <typename Element>
    static std::string sharedName(const Element& element) {
        return element.arrayElement.array ? Maps::withoutPlaceholder(element.arrayElement.array->name) : element.name;
    }
};

/** Returns the parameters of a macro for an element of arrays. */
std::string parametersFor(std::size_t arrays) {
    std::string parameters;
    for (std::size_t i = 0; i < arrays; ++i) {
        parameters += (i == 0 ? "" : ", ") + parameter(i, arrays);
    }
    return arrays == 0 ? "" : '(' + parameters + ')';
}

/** Returns the names after the name of the device, with dots between them. */
std::string dotted(const Names& names) {
    std::string text;
    for (std::size_t i = 1; i < names.size(); ++i) {
        text += (i == 1 ? "" : ".") + names[i];
    }
    return text;
}

/** Converts a number of bytes to addresses. */
struct Scale {
    std::uint64_t addresses;
    std::uint64_t bytes;
};

std::string placeOf(std::uint64_t first, const Path& path, const Scale& scale) {
    std::string sum = constant(first);
    for (std::size_t i = 0; i < path.arrays.size(); ++i) {
        sum += " + " + constant(path.arrays[i]->increment * scale.addresses / scale.bytes) + " * (unsigned int)(" +
               parameter(i, path.arrays.size()) + ')';
    }
    return path.isInArray() ? '(' + sum + ')' : sum;
}

Macro countOf(const Maps::Array& array, Rank rank) { return {"COUNT", "", std::to_string(array.size) + 'U', rank}; }

/** The macros of the fields of a register. */
class FieldMacros {
public:
    FieldMacros(std::vector<Group>& groups, const Maps::Register& contents) : m_groups(groups), m_contents(contents) {}

    void add() {
        for (const Maps::Field& field : m_contents.fields) {
            if (Maps::isInside(field, m_contents)) {
                add(field);
            }
        }
    }

private:
    // Each field of an array has its own mask. If all fields of the array are inside the register, they share the
    // macros of the values.
    void add(const Maps::Field& field) {
        Group own{field.name,
                  {{"MASK", "", constant(Maps::maskOf(field)), ofField},
                   {"SHIFT", "", std::to_string(field.lsb) + 'U', ofField}}};
        const bool isShared = field.arrayElement.array && isComplete(field);
        if (!isShared) {
            addValues(own, field);
        }
        m_groups.push_back(std::move(own));
        if (isShared && field.arrayElement.position == 0) {
            addArray(field, *field.arrayElement.array);
        }
    }

    /** Returns whether all fields in the array of this field are inside the register. */
    bool isComplete(const Maps::Field& field) const {
        const Maps::ArrayElement& element = field.arrayElement;
        const std::uint64_t further = element.array->size - element.position - 1;
        return field.msb + further * element.array->increment < m_contents.size;
    }

    void addArray(const Maps::Field& field, const Maps::Array& array) {
        const std::string shift =
            '(' + std::to_string(field.lsb) + "U + " + std::to_string(array.increment) + "U * (unsigned int)(index))";
        const std::string lowest = constant(Maps::maskOf(field) >> field.lsb);
        Group group{Path::sharedName(field), {}};
        group.macros.push_back({"MASK", "(index)", '(' + lowest + " << " + shift + ')', ofField});
        group.macros.push_back({"SHIFT", "(index)", shift, ofField});
        group.macros.push_back(countOf(array, ofField));
        addValues(group, field);
        m_groups.push_back(std::move(group));
    }

    static void addValues(Group& group, const Maps::Field& field) {
        for (const Maps::Enumeration& enumeration : field.enumerations) {
            for (const Maps::EnumeratedValue& value : enumeration.values) {
                if (!value.isDefault && !value.name.empty() && value.value <= Maps::highestOf(field)) {
                    group.macros.push_back({value.name, "", constant(value.value), ofValue});
                }
            }
        }
    }

    std::vector<Group>& m_groups;
    const Maps::Register& m_contents;
};

/** A register in the tree of the map. */
struct Leaf {
    const Maps::Register* contents;
    Path path;
    /** None if the device cannot access the register. */
    std::optional<std::uint32_t> address;
};

/** The macros of all registers, in the order of their offsets. */
class Blocks {
public:
    explicit Blocks(const RegisterMap& map)
        : m_scale{map.device().type.addressStride, Common::bytesOf(map.device().width())} {
        for (const AddressedRegister& mapped : map.registers()) {
            m_addresses.emplace(std::make_pair(mapped.located.contents, mapped.located.offset),
                                mapped.range.deviceAddress());
        }
        const Maps::Peripheral& peripheral = *map.description().peripheral;
        collect(peripheral.registers, peripheral.clusters, {{map.device().name()}, {map.device().name()}});
        for (const Leaf& leaf : m_leaves) {
            add(leaf);
        }
        std::stable_sort(m_blocks.begin(), m_blocks.end(),
                         [](const Block& a, const Block& b) { return a.offset < b.offset; });
    }

    std::vector<Block> take() { return std::move(m_blocks); }

private:
    void collect(const Maps::SharedList<Maps::Register>& registers, const Maps::SharedList<Maps::Cluster>& clusters,
                 const Path& around) {
        for (const Maps::Register& contents : registers) {
            collect(contents, around.to(contents));
        }
        for (const Maps::Cluster& cluster : clusters) {
            const Path path = around.to(cluster);
            if (path.isFirst && cluster.arrayElement.array) {
                m_blocks.push_back({path.offset,
                                    described(dotted(path.shared), cluster.description.str()),
                                    path.shared,
                                    {{"", {countOf(*cluster.arrayElement.array, ofRegister)}}},
                                    false});
            }
            collect(cluster.registers, cluster.clusters, path);
        }
    }

    void collect(const Maps::Register& contents, const Path& path) {
        const auto found = m_addresses.find({&contents, path.offset});
        if (found == m_addresses.end()) {
            m_incomplete.insert(path.shared);
        }
        m_leaves.push_back(
            {&contents, path, found == m_addresses.end() ? std::nullopt : std::make_optional(found->second)});
    }

    // If the device can access only some elements of an array, each of these elements has its own macros.
    void add(const Leaf& leaf) {
        if (!leaf.address) {
            return;
        }
        const Path single{leaf.path.single, leaf.path.single, leaf.path.offset};
        if (!leaf.path.isInArray() || m_incomplete.count(leaf.path.shared) != 0) {
            addWhole(leaf, single);
            return;
        }
        if (leaf.path.isFirst) {
            addWhole(leaf, leaf.path);
        }
        if (leaf.path.hasOwnIndex) {
            m_blocks.push_back(
                {single.offset, dotted(single.shared), single.shared, {{"", positionsOf(leaf, single)}}});
        }
    }

    void addWhole(const Leaf& leaf, const Path& path) {
        const Maps::Register& contents = *leaf.contents;
        std::vector<Macro> macros = positionsOf(leaf, path);
        if (path.isInArray() && contents.arrayElement.array) {
            macros.push_back(countOf(*contents.arrayElement.array, ofRegister));
        }
        if (contents.resetValue) {
            macros.push_back({"RESET", "", constant(*contents.resetValue), ofRegister});
        }
        Block block{path.offset,
                    described(dotted(path.shared), contents.description.str()),
                    path.shared,
                    {{"", std::move(macros)}}};
        FieldMacros(block.groups, contents).add();
        m_blocks.push_back(std::move(block));
    }

    std::vector<Macro> positionsOf(const Leaf& leaf, const Path& path) const {
        const std::string parameters = parametersFor(path.arrays.size());
        return {{"ADDRESS", parameters, placeOf(*leaf.address, path, m_scale), ofRegister},
                {"OFFSET", parameters, placeOf(path.offset, path, {1, 1}), ofRegister}};
    }

    Scale m_scale;
    /** The addresses of the registers that the device can access. */
    std::map<std::pair<const Maps::Register*, std::uint64_t>, std::uint32_t> m_addresses;
    std::vector<Leaf> m_leaves;
    /** The names of the registers and arrays that the device cannot access completely. */
    std::set<Names> m_incomplete;
    std::vector<Block> m_blocks;
};

/**
 * Gives the macros their names. If an earlier register or field has the same name, the names of all macros of the later
 * one contain the same number. If the header already has the same macro, the name of the macro becomes empty.
 */
class Naming {
public:
    explicit Naming(std::vector<Block>& blocks) : m_blocks(blocks) {}

    /** @param guard the name of a macro that the header already has. */
    void name(const std::string& guard) {
        nameRegisters();
        nameFields();
        m_macros.add(guard, "");
        nameMacros();
    }

private:
    static std::string contentOf(const Group& group) {
        std::string content;
        for (const Macro& macro : group.macros) {
            content += macro.name + macro.parameters + ' ' + macro.value + '\n';
        }
        return content;
    }

    static std::string contentOf(const Block& block) {
        std::string content;
        for (const Group& group : block.groups) {
            content += group.field + '\n' + contentOf(group);
        }
        return content;
    }

    void nameRegisters() {
        for (const Block& block : m_blocks) {
            m_registers.reserve(macroName(block.names));
        }
        for (Block& block : m_blocks) {
            const std::string wanted = macroName(block.names);
            const std::string name = block.isRegister ? m_registers.add(wanted, contentOf(block)) : wanted;
            if (name.empty()) {
                block.groups.clear();
            }
            for (Group& group : block.groups) {
                group.name = name;
            }
        }
    }

    void nameFields() {
        forEachField([this](const Group& group) { m_fields.reserve(macroName({group.name, group.field})); });
        forEachField([this](Group& group) {
            group.name = m_fields.add(macroName({group.name, group.field}), contentOf(group));
            if (group.name.empty()) {
                group.macros.clear();
            }
        });
    }

    void nameMacros() {
        forEachGroup([this](const Group& group) {
            for (const Macro& macro : group.macros) {
                m_macros.reserve(macroName({group.name, macro.name}));
            }
        });
        for (const Rank rank : {ofRegister, ofField, ofValue}) {
            forEachGroup([this, rank](Group& group) {
                for (Macro& macro : group.macros) {
                    if (macro.rank == rank) {
                        macro.name =
                            m_macros.add(macroName({group.name, macro.name}), macro.parameters + ' ' + macro.value);
                    }
                }
            });
        }
    }

    template <typename Function>
    void forEachGroup(const Function& function) {
        for (Block& block : m_blocks) {
            std::for_each(block.groups.begin(), block.groups.end(), function);
        }
    }

    template <typename Function>
    void forEachField(const Function& function) {
        forEachGroup([&function](Group& group) {
            if (!group.field.empty()) {
                function(group);
            }
        });
    }

    std::vector<Block>& m_blocks;
    MacroNames m_registers;
    MacroNames m_fields;
    MacroNames m_macros;
};

std::string textOf(const Block& block) {
    std::string text = '\n' + comment(block.comment);
    for (const Group& group : block.groups) {
        for (const Macro& macro : group.macros) {
            text += macro.name.empty() ? "" : "#define " + macro.name + macro.parameters + ' ' + macro.value + '\n';
        }
    }
    return text;
}

std::string introductionTo(const RegisterMap& map) {
    const Target& device = map.device();
    const Maps::DevicePeripheral& description = map.description();
    const std::string prefix = device.width() == 8 ? "Rynvel_" : "Rynvel2_";
    const std::string width = std::to_string(device.width());
    const std::string file = std::filesystem::path(description.file).filename().string();
    std::string text = comment(described(device.name(), description.peripheral->description.str()));
    text += comment("Made by 'rynvelctl maps header' from " + file + ", version " + description.map->version);
    text += "/*\n * REGISTER_ADDRESS: the address to pass to " + prefix + "read" + width + " and the other " + prefix +
            " functions for " + width + "-bit\n *                   registers of a device of the type " +
            device.type.name +
            "\n * REGISTER_OFFSET:  the distance in bytes from the beginning of the device\n"
            " * REGISTER_RESET:   the value after a reset\n"
            " * ARRAY_COUNT:      the number of elements; the indexes begin at 0\n"
            " * FIELD_MASK:       the bits of a field in its register\n"
            " * FIELD_SHIFT:      the position of the lowest bit of the field\n"
            " * FIELD_VALUE:      a value of the field; shift it left by FIELD_SHIFT\n"
            " */\n";
    for (const std::string& problem : map.inaccessible()) {
        text += comment("Left out: " + problem);
    }
    return text;
}

} // namespace

std::string registerHeader(const RegisterMap& map) {
    const std::string guard = macroName({map.device().name(), "REGISTERS_H"});
    std::vector<Block> blocks = Blocks(map).take();
    Naming(blocks).name(guard);
    std::string text = introductionTo(map) + "#ifndef " + guard + "\n#define " + guard + '\n';
    for (const Block& block : blocks) {
        text += textOf(block);
    }
    return text + "\n#endif\n";
}

} // namespace Rynvelctl
