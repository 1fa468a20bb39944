// SPDX-License-Identifier: MIT
#include "RegisterName.h"

#include <algorithm>
#include <cctype>
#include <string_view>

#include "ArrayNames.h"
#include "NearestName.h"

namespace Maps {

namespace {

constexpr std::size_t mostSuggestions = 3;

struct Path {
    std::string_view first;
    std::string_view rest;
};

/** Splits a path at each dot, because a name may contain dots. The split at the last dot comes first. */
std::vector<Path> splitsOf(std::string_view path) {
    std::vector<Path> splits;
    for (std::size_t i = path.size(); i-- > 0;) {
        if (path[i] == '.') {
            splits.push_back({path.substr(0, i), path.substr(i + 1)});
        }
    }
    return splits;
}

bool isIndexName(const ArrayElement& element, std::string_view index) {
    const auto& names = element.array->indexNames.values;
    return std::any_of(names.begin(), names.end(), [&element, index](const EnumeratedValue& value) {
        return !value.isDefault && value.value == element.position && value.name == index;
    });
}

/** Returns whether a name is the name of the array, followed by the index of this element in brackets. */
bool isElement(const ArrayElement& element, std::string_view name) {
    const std::size_t bracket = name.find('[');
    if (!element.array || bracket == std::string_view::npos || name.back() != ']') {
        return false;
    }
    const std::string_view index = name.substr(bracket + 1, name.size() - bracket - 2);
    return name.substr(0, bracket) == withoutPlaceholder(element.array->name) &&
           (index == element.index || isIndexName(element, index));
}

/** Calls a function with each register, its path and its offset. */
template <typename Function>
void forEachRegister(const SharedList<Register>& registers, const SharedList<Cluster>& clusters,
                     const std::string& path, std::uint64_t offset, const Function& function) {
    for (const Register& contents : registers) {
        function(LocatedRegister{path + contents.name, offset + contents.offset, &contents});
    }
    for (const Cluster& cluster : clusters) {
        forEachRegister(cluster.registers, cluster.clusters, path + cluster.name + ".", offset + cluster.offset,
                        function);
    }
}

/** A register that a path may select. */
struct Candidate {
    LocatedRegister located;
    /** The number of names in the path that differ from the names in the map. */
    std::size_t aliases = 0;

    bool isBetterThan(const Candidate& other) const {
        return aliases != other.aliases ? aliases < other.aliases : located.offset < other.located.offset;
    }
};

/**
 * Finds the register that a path selects with the fewest aliases. If several registers need equally few aliases, finds
 * the register with the lowest offset.
 */
class Search {
public:
    explicit Search(const Peripheral& peripheral) : m_peripheral(peripheral) {}

    std::optional<LocatedRegister> find(std::string_view path) {
        m_best.reset();
        visit(m_peripheral.registers, m_peripheral.clusters, path, {});
        return m_best ? std::optional<LocatedRegister>(m_best->located) : std::nullopt;
    }

private:
    void visit(const SharedList<Register>& registers, const SharedList<Cluster>& clusters, std::string_view path,
               const Candidate& around) {
        for (const Register& contents : registers) {
            if (contents.name == path || isAlias(contents, path)) {
                consider({{around.located.name + contents.name, around.located.offset + contents.offset, &contents},
                          around.aliases + (contents.name == path ? 0 : 1)});
            }
        }
        for (const Path& split : splitsOf(path)) {
            for (const Cluster& cluster : clusters) {
                if (cluster.name == split.first || isElement(cluster.arrayElement, split.first)) {
                    visit(cluster.registers, cluster.clusters, split.rest,
                          {{around.located.name + cluster.name + ".", around.located.offset + cluster.offset, nullptr},
                           around.aliases + (cluster.name == split.first ? 0 : 1)});
                }
            }
        }
    }

    void consider(Candidate candidate) {
        if (!m_best || candidate.isBetterThan(*m_best)) {
            m_best = std::move(candidate);
        }
    }

    bool isAlias(const Register& contents, std::string_view name) const {
        const std::string& start = m_peripheral.prependToName;
        const std::string& end = m_peripheral.appendToName;
        return isElement(contents.arrayElement, name) ||
               (name.size() == start.size() + contents.name.size() + end.size() && name == start + contents.name + end);
    }

    const Peripheral& m_peripheral;
    std::optional<Candidate> m_best;
};

std::string lowerCase(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char letter) { return static_cast<char>(std::tolower(letter)); });
    return text;
}

/**
 * Returns the names of all registers. If the name begins with the path of a register, returns the names of the fields
 * of that register instead.
 */
std::vector<std::string> candidatesFor(const Peripheral& peripheral, const std::string& name) {
    std::vector<std::string> names;
    const std::size_t dot = name.rfind('.');
    const auto around = dot == std::string::npos ? std::nullopt : findRegister(peripheral, name.substr(0, dot));
    if (around && around->field == nullptr) {
        for (const Field& field : around->located.contents->fields) {
            names.push_back(around->located.name + "." + field.name);
        }
        return names;
    }
    forEachRegister(peripheral.registers, peripheral.clusters, "", 0,
                    [&names](const LocatedRegister& located) { names.push_back(located.name); });
    return names;
}

} // namespace

std::string peripheralNameOf(const std::string& deviceName) {
    std::string name = deviceName;
    std::replace_if(
        name.begin(), name.end(), [](unsigned char character) { return std::isalnum(character) == 0; }, '_');
    return name;
}

const Peripheral* findPeripheral(const Device& map, const std::string& deviceName) {
    const std::string name = peripheralNameOf(deviceName);
    const Peripheral* const found = std::find_if(map.peripherals.begin(), map.peripherals.end(),
                                                 [&name](const Peripheral& each) { return each.name == name; });
    return found == map.peripherals.end() ? nullptr : found;
}

std::vector<LocatedRegister> registersOf(const Peripheral& peripheral) {
    std::vector<LocatedRegister> registers;
    forEachRegister(peripheral.registers, peripheral.clusters, "", 0,
                    [&registers](LocatedRegister located) { registers.push_back(std::move(located)); });
    std::stable_sort(registers.begin(), registers.end(),
                     [](const LocatedRegister& a, const LocatedRegister& b) { return a.offset < b.offset; });
    return registers;
}

const Field* findField(const Register& aRegister, const std::string& name) {
    const Field* alias = nullptr;
    for (const Field& field : aRegister.fields) {
        if (field.name == name) {
            return &field;
        }
        if (alias == nullptr && isElement(field.arrayElement, name)) {
            alias = &field;
        }
    }
    return alias;
}

std::optional<NamedRegister> findRegister(const Peripheral& peripheral, const std::string& name) {
    Search search(peripheral);
    if (const auto located = search.find(name)) {
        return NamedRegister{*located, nullptr};
    }
    for (const Path& split : splitsOf(name)) {
        const auto located = search.find(split.first);
        const Field* const field = located ? findField(*located->contents, std::string(split.rest)) : nullptr;
        if (field != nullptr) {
            return NamedRegister{*located, field};
        }
    }
    return std::nullopt;
}

std::vector<std::string> similarTo(const std::string& name, const std::vector<std::string>& names) {
    std::vector<std::string> inLowerCase(names.size());
    std::transform(names.begin(), names.end(), inLowerCase.begin(), lowerCase);
    const std::vector<std::string> nearest = Common::nearestNames(lowerCase(name), inLowerCase);
    std::vector<std::string> similar;
    for (std::size_t i = 0; i < names.size(); ++i) {
        if (std::find(nearest.begin(), nearest.end(), inLowerCase[i]) != nearest.end()) {
            similar.push_back(names[i]);
        }
    }
    return similar;
}

std::vector<std::string> namesLike(const Peripheral& peripheral, const std::string& name) {
    std::vector<std::string> names = similarTo(name, candidatesFor(peripheral, name));
    names.resize(std::min(names.size(), mostSuggestions));
    return names;
}

} // namespace Maps
