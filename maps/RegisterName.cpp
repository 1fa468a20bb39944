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

/** Returns the whole path, and then the splits at each dot from the last one on: a name may have dots of its own. */
std::vector<Path> splitsOf(std::string_view path) {
    std::vector<Path> splits{{path, {}}};
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

/** Returns whether a name is the name of the array, and then the index of the element in brackets. */
bool isElement(const ArrayElement& element, std::string_view name) {
    const std::size_t bracket = name.find('[');
    if (!element.array || bracket == std::string_view::npos || name.back() != ']') {
        return false;
    }
    const std::string_view index = name.substr(bracket + 1, name.size() - bracket - 2);
    return name.substr(0, bracket) == withoutPlaceholder(element.array->name) &&
           (index == element.index || isIndexName(element, index));
}

template <typename T>
bool hasName(const T& element, std::string_view name) {
    return element.name == name || isElement(element.arrayElement, name);
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

class Search {
public:
    explicit Search(const Peripheral& peripheral) : m_peripheral(peripheral) {}

    std::optional<NamedRegister> find(const std::string& name) const {
        return findIn(m_peripheral.registers, m_peripheral.clusters, name, {"", 0, nullptr});
    }

private:
    std::optional<NamedRegister> findIn(const SharedList<Register>& registers, const SharedList<Cluster>& clusters,
                                        std::string_view name, const LocatedRegister& around) const {
        for (const Path& path : splitsOf(name)) {
            if (auto found = findAt(path, registers, clusters, around)) {
                return found;
            }
        }
        return std::nullopt;
    }

    std::optional<NamedRegister> findAt(const Path& path, const SharedList<Register>& registers,
                                        const SharedList<Cluster>& clusters, const LocatedRegister& around) const {
        for (const Register& contents : registers) {
            if (isMeant(contents, path.first)) {
                const LocatedRegister located{around.name + contents.name, around.offset + contents.offset, &contents};
                if (auto found = findPart(located, std::string(path.rest))) {
                    return found;
                }
            }
        }
        for (const Cluster& cluster : clusters) {
            if (hasName(cluster, path.first) && !path.rest.empty()) {
                const LocatedRegister inside{around.name + cluster.name + ".", around.offset + cluster.offset, nullptr};
                if (auto found = findIn(cluster.registers, cluster.clusters, path.rest, inside)) {
                    return found;
                }
            }
        }
        return std::nullopt;
    }

    bool isMeant(const Register& contents, std::string_view name) const {
        return hasName(contents, name) ||
               name == m_peripheral.prependToName + contents.name + m_peripheral.appendToName;
    }

    static std::optional<NamedRegister> findPart(const LocatedRegister& located, const std::string& field) {
        if (field.empty()) {
            return NamedRegister{located, nullptr};
        }
        const Field* const found = findField(*located.contents, field);
        return found == nullptr ? std::nullopt : std::optional<NamedRegister>({located, found});
    }

    const Peripheral& m_peripheral;
};

std::string lowerCase(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char letter) { return static_cast<char>(std::tolower(letter)); });
    return text;
}

/**
 * Returns the names of all registers. If the name begins with the path of a register, returns the names of the fields
 * of that register.
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
    const Field* const found = std::find_if(aRegister.fields.begin(), aRegister.fields.end(),
                                            [&name](const Field& field) { return hasName(field, name); });
    return found == aRegister.fields.end() ? nullptr : found;
}

std::optional<NamedRegister> findRegister(const Peripheral& peripheral, const std::string& name) {
    return name.empty() || name.back() == '.' ? std::nullopt : Search(peripheral).find(name);
}

std::vector<std::string> namesLike(const Peripheral& peripheral, const std::string& name) {
    const std::vector<std::string> candidates = candidatesFor(peripheral, name);
    std::vector<std::string> inLowerCase(candidates.size());
    std::transform(candidates.begin(), candidates.end(), inLowerCase.begin(), lowerCase);
    const std::vector<std::string> nearest = Common::nearestNames(lowerCase(name), inLowerCase);
    std::vector<std::string> names;
    for (std::size_t i = 0; i < candidates.size() && names.size() < mostSuggestions; ++i) {
        if (std::find(nearest.begin(), nearest.end(), inLowerCase[i]) != nearest.end()) {
            names.push_back(candidates[i]);
        }
    }
    return names;
}

} // namespace Maps
