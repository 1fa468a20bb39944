// SPDX-License-Identifier: MIT
#include "Derivation.h"

#include <algorithm>
#include <optional>
#include <utility>

namespace Maps {

namespace {

using Kind = Definition::Kind;

// The maximum number of nested searches for a base. A search starts another search if the path to the base leads
// through a definition that is also derived. Real maps need fewer nested searches.
constexpr std::size_t deepestNesting = 64;

std::vector<std::string_view> split(std::string_view path) {
    std::vector<std::string_view> parts;
    for (std::size_t dot = path.find('.'); dot != std::string_view::npos; dot = path.find('.')) {
        parts.push_back(path.substr(0, dot));
        path.remove_prefix(dot + 1);
    }
    parts.push_back(path);
    return parts;
}

std::string_view beginningOf(std::string_view name) { return name.substr(0, name.find("%s")); }

template <typename T>
void inherit(std::optional<T>& own, const std::optional<T>& base) {
    own = own ? own : base;
}

void inherit(std::string_view& own, std::string_view base) { own = own.empty() ? base : own; }

template <typename T>
void inherit(List<T>& own, const List<T>& base) {
    own = own ? own : base;
}

void inherit(Properties& own, const Properties& base) {
    inherit(own.size, base.size);
    inherit(own.access, base.access);
    inherit(own.protection, base.protection);
    inherit(own.resetValue, base.resetValue);
    inherit(own.resetMask, base.resetMask);
}

/**
 * Inherits the width, and not the highest bit. A field that begins at another bit therefore keeps the width of its
 * base.
 */
void inherit(BitRange& own, const BitRange& base) {
    if (!own.lsb && !own.msb && !own.width) {
        own = base;
        return;
    }
    inherit(own.lsb, base.lsb);
    if (!own.msb) {
        inherit(own.width, widthOf(base));
    }
}

/** Inherits the array properties only if the name has a placeholder for an index. */
void inherit(Dimension& own, const Dimension& base, std::string_view name) {
    if (own.size || !hasPlaceholder(name)) {
        return;
    }
    own.size = base.size;
    inherit(own.increment, base.increment);
    inherit(own.index, base.index);
    inherit(own.structName, base.structName);
    if (own.indexNames.values.empty()) {
        own.indexNames = base.indexNames;
    }
}

void inherit(Definition& own, const Definition& base) {
    inherit(own.description, base.description);
    inherit(own.displayName, base.displayName);
    inherit(own.headerStructName, base.headerStructName);
    inherit(own.alternative, base.alternative);
    inherit(own.alternateGroup, base.alternateGroup);
    inherit(own.prependToName, base.prependToName);
    inherit(own.appendToName, base.appendToName);
    inherit(own.offset, base.offset);
    inherit(own.bits, base.bits);
    inherit(own.properties, base.properties);
    inherit(own.dimension, base.dimension, own.name);
    inherit(own.readAction, base.readAction);
    inherit(own.modifiedWrite, base.modifiedWrite);
    inherit(own.writeConstraint, base.writeConstraint);
    inherit(own.addressBlocks, base.addressBlocks);
    inherit(own.interrupts, base.interrupts);
    inherit(own.enumerations, base.enumerations);
}

class Nesting {
public:
    explicit Nesting(std::size_t& depth) : m_depth(depth) { ++m_depth; }
    Nesting(const Nesting&) = delete;
    Nesting& operator=(const Nesting&) = delete;
    ~Nesting() { --m_depth; }

private:
    std::size_t& m_depth;
};

} // namespace

Scope::Scope(const Definitions& children, std::uint64_t mostIndexes) : m_mostIndexes(mostIndexes) {
    for (const Definition* const child : children) {
        m_byName.emplace(Key{child->kind, child->name}, child);
        if (hasPlaceholder(child->name)) {
            m_byBeginning.emplace(Key{child->kind, beginningOf(child->name)}, child);
            m_byBareName.emplace(std::make_pair(child->kind, withoutPlaceholder(child->name)), child);
        }
    }
}

const Definition* Scope::find(Kind kind, std::string_view name, const Definition* except) {
    const auto byName = m_byName.find({kind, name});
    if (byName != m_byName.end() && byName->second != except) {
        return byName->second;
    }
    const Definition* const array = findInArray(kind, name);
    if (array != nullptr && array != except) {
        return array;
    }
    const auto byBareName = m_byBareName.find({kind, std::string(name)});
    return byBareName != m_byBareName.end() && byBareName->second != except ? byBareName->second : nullptr;
}

const Definition* Scope::findInArray(Kind kind, std::string_view name) {
    for (std::size_t size = 0; size <= name.size(); ++size) {
        const auto array = m_byBeginning.find({kind, name.substr(0, size)});
        if (array != m_byBeginning.end() && isElement(*array->second, name)) {
            return array->second;
        }
    }
    return nullptr;
}

bool Scope::isElement(const Definition& array, std::string_view name) {
    const std::string_view beginning = beginningOf(array.name);
    const std::string_view end = array.name.substr(beginning.size() + 2);
    if (name.size() < beginning.size() + end.size() || name.substr(name.size() - end.size()) != end) {
        return false;
    }
    const std::string index(name.substr(beginning.size(), name.size() - beginning.size() - end.size()));
    if (array.dimension.index.empty()) {
        return Indexes(0, array.dimension.size.value_or(0)).contains(index);
    }
    auto known = m_indexes.find(&array);
    if (known == m_indexes.end()) {
        known = m_indexes.emplace(&array, parseIndexes(array.dimension.index, m_mostIndexes)).first;
    }
    return known->second && known->second->contains(index);
}

const Definition& Derivation::resolve(const Definition& own) {
    // Uses a loop instead of recursion, because a chain may contain all definitions of the file.
    std::vector<const Definition*> chain;
    const Definition* at = &own;
    while (!at->derivedFrom.empty()) {
        const auto [known, isNew] = m_resolved.try_emplace(at, nullptr);
        if (!isNew) {
            if (known->second == nullptr) {
                m_warnings.add(at->line, describe(*at) + " is derived from itself: derivedFrom is not used");
            }
            at = known->second;
            break;
        }
        chain.push_back(at);
        at = baseOf(*at);
        if (at == nullptr) {
            break;
        }
    }
    while (!chain.empty()) {
        const Definition& derived = *chain.back();
        chain.pop_back();
        at = m_resolved[&derived] = at == nullptr ? &derived : &derive(derived, *at);
    }
    return at == nullptr ? own : *at;
}

const Definition* Derivation::baseOf(const Definition& own) {
    const Nesting nesting(m_nesting);
    const std::vector<std::string_view> path = split(own.derivedFrom);
    for (const Definition* scope = own.parent; scope != nullptr && m_nesting < deepestNesting; scope = scope->parent) {
        if (const Definition* const base = walk(*scope, path, own.kind, &own)) {
            return base;
        }
    }
    m_warnings.add(own.line, describe(own) + " is derived from '" + std::string(own.derivedFrom) +
                                 "', which is not a " + std::string(tagOf(own.kind)) + " of the map");
    return nullptr;
}

const Definition* Derivation::walk(const Definition& scope, const std::vector<std::string_view>& path, Kind kind,
                                   const Definition* except) {
    const Definition* at = &scope;
    for (std::size_t i = 0; i < path.size() && at != nullptr; ++i) {
        at = childOf(*at, path[i], kind, i + 1 == path.size(), except);
    }
    return at;
}

const Definition* Derivation::childOf(const Definition& parent, std::string_view name, Kind kind, bool isLast,
                                      const Definition* except) {
    // While the parent itself is being resolved, only its own children can be searched.
    const auto known = m_resolved.find(&parent);
    const bool isInProgress = known != m_resolved.end() && known->second == nullptr;
    const Definition& full = isInProgress ? parent : resolve(parent);
    if (!full.children) {
        return nullptr;
    }
    Scope& scope = scopeOf(full);
    if (isLast) {
        return scope.find(kind, name, except);
    }
    for (const Kind between : {Kind::Peripheral, Kind::Cluster, Kind::Register}) {
        if (const Definition* const child = scope.find(between, name, except)) {
            return child;
        }
    }
    return nullptr;
}

Scope& Derivation::scopeOf(const Definition& parent) {
    auto& scope = m_scopes[parent.children.get()];
    if (!scope) {
        scope = std::make_unique<Scope>(*parent.children, m_limits.arraySize);
    }
    return *scope;
}

const Definition& Derivation::derive(const Definition& own, const Definition& base) {
    Definition& derived = m_derived.emplace_back(own);
    inherit(derived, base);
    derived.children = mergedChildren(own, base);
    return derived;
}

List<const Definition*> Derivation::mergedChildren(const Definition& own, const Definition& base) {
    if (!own.children || !base.children) {
        return own.children ? own.children : base.children;
    }
    Scope& ownScope = scopeOf(own);
    auto merged = std::make_shared<Definitions>();
    for (const Definition* const child : *base.children) {
        if (ownScope.find(child->kind, child->name, nullptr) == nullptr) {
            merged->push_back(child);
        }
    }
    merged->insert(merged->end(), own.children->begin(), own.children->end());
    // Also counts the replaced children, because the search for them takes time.
    m_mergedChildren += base.children->size() + own.children->size();
    if (m_mergedChildren > m_limits.elements) {
        throw MalformedMap(own.line, "derivedFrom copies more than " + std::to_string(m_limits.elements) + " elements");
    }
    return merged;
}

const EnumerationDefinition& Derivation::resolve(const EnumerationDefinition& own) {
    if (own.derivedFrom.empty()) {
        return own;
    }
    if (!m_hasNotedEnumerations) {
        m_hasNotedEnumerations = true;
        noteEnumerations(m_device);
    }
    std::vector<const EnumerationDefinition*> chain;
    const EnumerationDefinition* at = &own;
    while (at != nullptr && at->values.empty()) {
        const auto [known, isNew] = m_resolvedEnumerations.try_emplace(at, at);
        if (!isNew) {
            at = known->second;
            break;
        }
        chain.push_back(at);
        at = baseOf(*at);
    }
    for (const EnumerationDefinition* const passed : chain) {
        m_resolvedEnumerations[passed] = at == nullptr ? passed : at;
    }
    const EnumerationDefinition& resolved = at == nullptr ? own : *at;
    if (resolved.values.empty()) {
        m_warnings.add(own.line, "element 'enumeratedValues' is derived from '" + std::string(own.derivedFrom) +
                                     "', for which the map has no enumerated values");
    }
    return resolved;
}

void Derivation::noteEnumerations(const Definition& definition) {
    if (definition.enumerations) {
        for (const EnumerationDefinition& enumeration : *definition.enumerations) {
            noteEnumeration(enumeration);
        }
    }
    if (definition.children) {
        for (const Definition* const child : *definition.children) {
            noteEnumerations(*child);
        }
    }
}

void Derivation::noteEnumeration(const EnumerationDefinition& enumeration) {
    if (enumeration.name.empty()) {
        return;
    }
    std::string path(enumeration.name);
    std::vector<std::string> paths;
    for (const Definition* around = enumeration.field; around != nullptr; around = around->parent) {
        paths.push_back(path);
        path.insert(0, ".").insert(0, around->name);
        for (const std::string& end : paths) {
            m_enumerations.emplace(std::make_pair(around, end), &enumeration);
        }
    }
}

const EnumerationDefinition* Derivation::baseOf(const EnumerationDefinition& own) {
    const std::string path(own.derivedFrom);
    for (const Definition* around = own.field; around != nullptr; around = around->parent) {
        const auto found = m_enumerations.find({around, path});
        if (found != m_enumerations.end() && found->second != &own) {
            return found->second;
        }
    }
    return findByField(own);
}

/** Returns the base of an enumeration if the base belongs to a derived field or an array element; null otherwise. */
const EnumerationDefinition* Derivation::findByField(const EnumerationDefinition& own) {
    std::vector<std::string_view> path = split(own.derivedFrom);
    const std::string_view name = path.back();
    path.pop_back();
    const Definition* scope = own.field == nullptr || path.empty() ? nullptr : own.field->parent;
    for (; scope != nullptr; scope = scope->parent) {
        const Definition* const field = walk(*scope, path, Kind::Field, nullptr);
        if (field == nullptr || !resolve(*field).enumerations) {
            continue;
        }
        for (const EnumerationDefinition& enumeration : *resolve(*field).enumerations) {
            if (enumeration.name == name && &enumeration != &own) {
                return &enumeration;
            }
        }
    }
    return nullptr;
}

} // namespace Maps
