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

namespace Rynvelctl {

namespace {

using Names = std::vector<std::string>;

/** If several macros have the same name, the macros of the earliest rank keep it. */
enum Rank { ofRegister, ofField, ofValue };

struct Macro {
    std::string name;
    /** In parentheses; empty for a constant. */
    std::string parameters;
    std::string value;
    Rank rank = ofRegister;
};

/** The macros of a register, or of all registers of an array. */
struct Block {
    std::uint64_t offset = 0;
    std::string comment;
    std::vector<Macro> macros;
};

std::string constant(std::uint64_t value) {
    std::ostringstream text;
    text << "0x" << std::hex << value << (value > UINT32_MAX ? "ULL" : "U");
    return text.str();
}

/** A range of characters that control the direction of writing: two equal bytes, and the limits of the third byte. */
struct DirectionControls {
    const char* start;
    unsigned char first;
    unsigned char last;
};

constexpr std::array<DirectionControls, 2> directionControls{{{"\xE2\x80", 0xAA, 0xAE}, {"\xE2\x81", 0xA6, 0xA9}}};

/** Returns a text that neither ends nor begins a comment, and that cannot change the direction of writing. */
std::string forComment(std::string text) {
    for (const std::string mark : {"*/", "/*"}) {
        for (std::size_t position = text.find(mark); position != std::string::npos; position = text.find(mark)) {
            text.insert(position + 1, " ");
        }
    }
    for (const auto& [start, first, last] : directionControls) {
        for (std::size_t position = text.find(start); position != std::string::npos;
             position = text.find(start, position + 1)) {
            const auto third = position + 2 < text.size() ? static_cast<unsigned char>(text[position + 2]) : 0U;
            if (third >= first && third <= last) {
                text.replace(position, 3, "?");
            }
        }
    }
    return text;
}

std::string comment(const std::string& text) { return "/* " + forComment(text) + " */\n"; }

std::string described(const std::string& name, const std::string& description) {
    return description.empty() ? name : name + ": " + description;
}

/** Returns the name of one of the parameters of a macro. */
std::string parameter(std::size_t position, std::size_t count) {
    return count == 1 ? "index" : "index" + std::to_string(position);
}

/** The names and the arrays that lead to an element of a map. */
struct Path {
    /** The names, with the index of each array element. */
    Names single;
    /** The same names, without the indexes. */
    Names shared;
    std::uint64_t offset = 0;
    std::vector<std::shared_ptr<const Maps::Array>> arrays{};
    bool isFirst = true;
    /** Whether an index differs from the position in its array. */
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

std::string with(Names names, const std::string& last) {
    names.push_back(last);
    return macroName(names);
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

Macro countOf(const Names& names, const Maps::Array& array, Rank rank) {
    return {with(names, "COUNT"), "", std::to_string(array.size) + 'U', rank};
}

/** The macros of the fields of a register. */
class FieldMacros {
public:
    FieldMacros(std::vector<Macro>& macros, const Maps::Register& contents, Names names)
        : m_macros(macros), m_contents(contents), m_names(std::move(names)) {}

    void add() {
        for (const Maps::Field& field : m_contents.fields) {
            if (Maps::isInside(field, m_contents)) {
                add(field);
            }
        }
    }

private:
    // Each field of an array has its own mask. All of them share the values.
    void add(const Maps::Field& field) {
        const Names names = namesFor(field.name);
        add(with(names, "MASK"), constant(Maps::maskOf(field)), ofField);
        add(with(names, "SHIFT"), std::to_string(field.lsb) + 'U', ofField);
        const Maps::Array* const array = field.arrayElement.array.get();
        if (array == nullptr || field.arrayElement.position == 0) {
            const Names shared = namesFor(Path::sharedName(field));
            if (array != nullptr) {
                addArray(shared, field, *array);
            }
            addValues(shared, field);
        }
    }

    void addArray(const Names& names, const Maps::Field& field, const Maps::Array& array) {
        const std::string shift =
            '(' + std::to_string(field.lsb) + "U + " + std::to_string(array.increment) + "U * (unsigned int)(index))";
        const std::string lowest = constant(Maps::maskOf(field) >> field.lsb);
        m_macros.push_back({with(names, "MASK"), "(index)", '(' + lowest + " << " + shift + ')', ofField});
        m_macros.push_back({with(names, "SHIFT"), "(index)", shift, ofField});
        m_macros.push_back(countOf(names, array, ofField));
    }

    void addValues(const Names& names, const Maps::Field& field) {
        for (const Maps::Enumeration& enumeration : field.enumerations) {
            for (const Maps::EnumeratedValue& value : enumeration.values) {
                if (!value.isDefault && !value.name.empty()) {
                    add(with(names, value.name), constant(value.value), ofValue);
                }
            }
        }
    }

    void add(const std::string& name, const std::string& value, Rank rank) {
        m_macros.push_back({name, "", value, rank});
    }

    Names namesFor(const std::string& field) const {
        Names names = m_names;
        names.push_back(field);
        return names;
    }

    std::vector<Macro>& m_macros;
    const Maps::Register& m_contents;
    Names m_names;
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
        for (const MappedRegister& mapped : map.registers()) {
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
                                    {countOf(path.shared, *cluster.arrayElement.array, ofRegister)}});
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

    // An array of which the device can access only some elements has a name for each of these.
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
            m_blocks.push_back({single.offset, dotted(single.shared), positionsOf(leaf, single)});
        }
    }

    void addWhole(const Leaf& leaf, const Path& path) {
        const Maps::Register& contents = *leaf.contents;
        Block block{path.offset, described(dotted(path.shared), contents.description.str()), positionsOf(leaf, path)};
        if (path.isInArray() && contents.arrayElement.array) {
            block.macros.push_back(countOf(path.shared, *contents.arrayElement.array, ofRegister));
        }
        if (contents.resetValue) {
            block.macros.push_back({with(path.shared, "RESET"), "", constant(*contents.resetValue), ofRegister});
        }
        FieldMacros(block.macros, contents, path.shared).add();
        m_blocks.push_back(std::move(block));
    }

    std::vector<Macro> positionsOf(const Leaf& leaf, const Path& path) const {
        const std::string parameters = parametersFor(path.arrays.size());
        return {{with(path.shared, "ADDRESS"), parameters, placeOf(*leaf.address, path, m_scale), ofRegister},
                {with(path.shared, "OFFSET"), parameters, placeOf(path.offset, path, {1, 1}), ofRegister}};
    }

    Scale m_scale;
    /** The addresses of the registers that the device can access. */
    std::map<std::pair<const Maps::Register*, std::uint64_t>, std::uint32_t> m_addresses;
    std::vector<Leaf> m_leaves;
    /** The names of the registers and arrays that the device cannot access completely. */
    std::set<Names> m_incomplete;
    std::vector<Block> m_blocks;
};

/** Gives the macros their names, first the macros of registers. A macro that the header has already loses its name. */
void makeUnique(std::vector<Block>& blocks, MacroNames& names) {
    for (const Rank rank : {ofRegister, ofField, ofValue}) {
        for (Block& block : blocks) {
            for (Macro& macro : block.macros) {
                if (macro.rank == rank) {
                    macro.name = names.add(macro.name, macro.parameters + ' ' + macro.value);
                }
            }
        }
    }
}

std::string textOf(const Block& block) {
    std::string text = '\n' + comment(block.comment);
    for (const Macro& macro : block.macros) {
        text += macro.name.empty() ? "" : "#define " + macro.name + macro.parameters + ' ' + macro.value + '\n';
    }
    return text;
}

std::string introductionTo(const RegisterMap& map) {
    const Target& device = map.device();
    const Maps::DeviceDescription& description = map.description();
    const std::string prefix = device.width() == 8 ? "Rynvel_" : "Rynvel2_";
    const std::string width = std::to_string(device.width());
    const std::string file = std::filesystem::path(description.file).filename().string();
    std::string text = comment(described(device.name(), description.peripheral->description.str()));
    text += comment("Made by 'rynvelctl maps header' from " + file + ", version " + description.map->version);
    text += "/*\n * REGISTER_ADDRESS: the address to pass to " + prefix + "read" + width + " and the other " + prefix +
            " functions for " + width + " bits,\n *                   with the device type " + device.type.name +
            "\n * REGISTER_OFFSET:  the distance in bytes from the beginning of the device\n"
            " * REGISTER_RESET:   the value after a reset\n"
            " * ARRAY_COUNT:      the number of elements; their indexes count from 0\n"
            " * FIELD_MASK:       the bits of a field in its register\n"
            " * FIELD_SHIFT:      the position of its lowest bit\n"
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
    MacroNames names;
    names.add(guard, "");
    makeUnique(blocks, names);
    std::string text = introductionTo(map) + "#ifndef " + guard + "\n#define " + guard + '\n';
    for (const Block& block : blocks) {
        text += textOf(block);
    }
    return text + "\n#endif\n";
}

} // namespace Rynvelctl
