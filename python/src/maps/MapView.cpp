// SPDX-License-Identifier: MIT
#include "MapView.h"

#include <algorithm>
#include <unordered_set>

#include "ArrayNames.h"
#include "Bits.h"

namespace RynvelPython {

namespace {

/** Returns the texts that select an element of an array: its index, and the names of the index. */
std::vector<std::string> indexesOf(const Maps::ArrayElement& element) {
    std::vector<std::string> indexes{element.index};
    for (const Maps::EnumeratedValue& value : element.array->indexNames.values) {
        if (!value.isDefault && value.value == element.position) {
            indexes.push_back(value.name);
        }
    }
    return indexes;
}

template <typename T>
bool isInArray(const T& contents, const std::string& name) {
    const auto& array = contents.arrayElement.array;
    return array && Maps::withoutPlaceholder(array->name) == name;
}

/** Collects names without repeating one. */
class Names {
public:
    void add(std::string name) {
        if (m_known.insert(name).second) {
            m_names.push_back(std::move(name));
        }
    }

    /** Adds the name of a register or cluster; for an element of an array, the name of the array. */
    template <typename T>
    void addOf(const T& contents) {
        const auto& array = contents.arrayElement.array;
        add(array ? Maps::withoutPlaceholder(array->name) : contents.name);
    }

    std::vector<std::string> inOrder() && { return std::move(m_names); }

private:
    std::unordered_set<std::string> m_known;
    std::vector<std::string> m_names;
};

template <typename T>
void addElements(std::vector<Element<std::string>>& elements, const Maps::SharedList<T>& list,
                 const std::string& name) {
    for (const T& contents : list) {
        if (isInArray(contents, name)) {
            elements.push_back({contents.name, indexesOf(contents.arrayElement)});
        }
    }
}

} // namespace

SharedMap loadMap(const std::string& deviceName, unsigned int width, std::vector<std::string> paths,
                  const Common::Deadline& deadline) {
    auto search = std::make_shared<Maps::MapSearch>(std::move(paths), deadline);
    const auto description = search->catalog().find(deviceName);
    if (!description) {
        return nullptr;
    }
    Maps::requireByteAddresses(*description);
    return std::make_shared<const DeviceMap>(std::move(search), *description, width);
}

RegisterView::RegisterView(SharedMap map, Maps::LocatedRegister located)
    : m_map(std::move(map)), m_located(std::move(located)), m_word(m_map->registers().wordOf(m_located)) {}

const Maps::Field& RegisterView::fieldAt(std::size_t position) const {
    if (position >= contents().fields.size()) {
        throw std::out_of_range("the register has no field at this position");
    }
    return contents().fields[position];
}

std::optional<std::size_t> RegisterView::findField(const std::string& name) const {
    const Maps::Field* const field = Maps::findField(contents(), name);
    return field == nullptr ? std::nullopt : std::optional<std::size_t>(field - contents().fields.begin());
}

std::vector<Element<std::size_t>> RegisterView::fieldArray(const std::string& name) const {
    std::vector<Element<std::size_t>> elements;
    for (std::size_t position = 0; position < contents().fields.size(); ++position) {
        const Maps::Field& field = contents().fields[position];
        if (isInArray(field, name)) {
            elements.push_back({position, indexesOf(field.arrayElement)});
        }
    }
    return elements;
}

std::vector<std::string> RegisterView::similarFields(const std::string& name) const {
    std::vector<std::string> names;
    for (const Maps::Field& field : contents().fields) {
        names.push_back(field.name);
    }
    return Maps::similarTo(name, names);
}

void RegisterView::requireAccessible() const {
    const std::string problem = obstacle();
    if (!problem.empty()) {
        throw Maps::RefusedValue(problem);
    }
}

FieldPlan RegisterView::planField(std::size_t position) const {
    requireAccessible();
    const Maps::Field& field = fieldAt(position);
    Maps::requireWritable(m_located, field);
    const std::uint64_t bits = Maps::maskOf(field);
    const Maps::WriteShape shape = Maps::shapeOfWrite(m_located, bits, m_word, Maps::WriteForm::Attribute);
    const auto mask = shape.isWhole ? std::nullopt : std::optional<std::uint64_t>(bits | shape.kept.mask);
    return {shape.kept.value, mask, field.writeConstraint || contents().writeConstraint};
}

void RegisterView::requireAllowedInField(std::size_t position, std::uint64_t number) const {
    Maps::planWrite(m_located, {{&fieldAt(position), "", number}}, m_word, Maps::WriteForm::Attribute);
}

DeviceWrite RegisterView::planFields(const std::vector<std::pair<std::size_t, std::uint64_t>>& numbers) const {
    requireAccessible();
    std::vector<Maps::FieldAssignment> assignments;
    assignments.reserve(numbers.size());
    for (const auto& [position, number] : numbers) {
        assignments.push_back({&fieldAt(position), "", number});
    }
    const Maps::FieldWrite write = Maps::planWrite(m_located, assignments, m_word);
    return {write.written.value, write.isWhole ? std::nullopt : std::optional<std::uint64_t>(write.written.mask)};
}

DeviceWrite RegisterView::planRegister(std::uint64_t value, std::optional<std::uint64_t> mask) const {
    requireAccessible();
    if (!Maps::isWritable(contents())) {
        throw Maps::RefusedValue(Maps::nameWithKind(m_located) + " is read-only");
    }
    Maps::requireAllowed(m_located, {value, mask.value_or(UINT64_MAX)});
    if (!mask) {
        return {value, std::nullopt};
    }
    requireReadable(false);
    const Maps::MaskedValue written = Maps::planMaskedWrite(m_located, {value & *mask, *mask}, m_word);
    return {written.value, written.mask};
}

void RegisterView::requireResultAllowed(const DeviceWrite& write, std::uint64_t before) const {
    Maps::requireResultAllowed(m_located, {write.value, write.mask.value_or(UINT64_MAX)}, before);
}

void RegisterView::requireReadable(bool allowsSideEffects) const {
    requireAccessible();
    if (!Maps::isReadable(contents())) {
        throw Maps::RefusedValue(Maps::nameWithKind(m_located) + " is write-only");
    }
    if (m_word.hasReadSideEffect && !allowsSideEffects) {
        throw Maps::RefusedValue("reading " + Maps::nameWithKind(m_located) +
                                 " has a side effect (read(side_effects=True) reads it)");
    }
}

GroupView::GroupView(SharedMap map)
    : m_map(std::move(map)),
      m_description(m_map->peripheral().description),
      m_registers(m_map->peripheral().registers),
      m_clusters(m_map->peripheral().clusters) {}

GroupView::GroupView(const GroupView& parent, const Maps::Cluster& cluster)
    : m_map(parent.m_map),
      m_prefix(parent.m_prefix + cluster.name + '.'),
      m_offset(parent.m_offset + cluster.offset),
      m_description(cluster.description),
      m_registers(cluster.registers),
      m_clusters(cluster.clusters) {}

GroupView::Child GroupView::child(const std::string& name) const {
    const Maps::Register* lowest = nullptr;
    for (const Maps::Register& contents : m_registers) {
        if (contents.name == name && (lowest == nullptr || contents.offset < lowest->offset)) {
            lowest = &contents;
        }
    }
    if (lowest != nullptr) {
        return RegisterView(m_map, {m_prefix + lowest->name, m_offset + lowest->offset, lowest});
    }
    const Maps::Cluster* const cluster = std::find_if(m_clusters.begin(), m_clusters.end(),
                                                      [&name](const Maps::Cluster& each) { return each.name == name; });
    return cluster == m_clusters.end() ? Child() : GroupView(*this, *cluster);
}

std::vector<Element<std::string>> GroupView::array(const std::string& name) const {
    std::vector<Element<std::string>> elements;
    addElements(elements, m_registers, name);
    if (elements.empty()) {
        addElements(elements, m_clusters, name);
    }
    return elements;
}

std::optional<std::pair<RegisterView, std::optional<std::size_t>>> GroupView::find(const std::string& path) const {
    const auto found = Maps::findRegister(m_map->peripheral(), m_prefix + path);
    if (!found) {
        return std::nullopt;
    }
    const auto& fields = found->located.contents->fields;
    const auto position =
        found->field == nullptr ? std::nullopt : std::optional<std::size_t>(found->field - fields.begin());
    return std::pair{RegisterView(m_map, found->located), position};
}

std::vector<std::string> GroupView::similar(const std::string& path) const {
    std::vector<std::string> names = Maps::namesLike(m_map->peripheral(), m_prefix + path);
    for (std::string& name : names) {
        if (name.compare(0, m_prefix.size(), m_prefix) == 0) {
            name.erase(0, m_prefix.size());
        }
    }
    return names;
}

std::vector<std::string> GroupView::names() const {
    Names names;
    for (const Maps::Register& contents : m_registers) {
        names.addOf(contents);
    }
    for (const Maps::Cluster& cluster : m_clusters) {
        names.addOf(cluster);
    }
    return std::move(names).inOrder();
}

std::vector<std::string> GroupView::paths() const {
    std::vector<std::string> paths;
    for (const Maps::LocatedRegister& located : m_map->registers().all()) {
        if (located.name.compare(0, m_prefix.size(), m_prefix) == 0) {
            paths.push_back(located.name.substr(m_prefix.size()));
        }
    }
    return paths;
}

std::optional<std::string> nameOfValue(const Maps::Field& field, std::uint64_t value) {
    const Maps::EnumeratedValue* const name = Maps::decode(field, value << field.lsb).name;
    return name == nullptr || name->name.empty() ? std::nullopt : std::optional<std::string>(name->name);
}

std::vector<std::pair<std::string, std::uint64_t>> valuesOf(const Maps::Field& field) {
    std::vector<std::pair<std::string, std::uint64_t>> values;
    for (const Maps::EnumeratedValue& value : Maps::valuesToWrite(field)) {
        if (!value.name.empty()) {
            values.emplace_back(value.name, value.value);
        }
    }
    return values;
}

} // namespace RynvelPython
