// SPDX-License-Identifier: MIT
/**
 * @file
 * What definitions take over from others by derivedFrom.
 */
#ifndef RYNVEL_MAPS_DERIVATION_H
#define RYNVEL_MAPS_DERIVATION_H

#include <cstddef>
#include <deque>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <utility>
#include <vector>

#include "Definition.h"
#include "Diagnostics.h"
#include "Limits.h"

namespace Maps {

/** The children of a definition, by name. */
class Scope {
public:
    Scope(const Definitions& children, std::uint64_t mostIndexes);

    /**
     * The child of a kind that a name means: by its own name, by that of an element of its array, or by its name
     * without the place for an index. Never `except`. Null when there is none.
     */
    const Definition* find(Definition::Kind kind, std::string_view name, const Definition* except);

private:
    using Key = std::pair<Definition::Kind, std::string_view>;

    const Definition* findInArray(Definition::Kind kind, std::string_view name);
    bool isElement(const Definition& array, std::string_view name);

    std::uint64_t m_mostIndexes;
    std::map<Key, const Definition*> m_byName;
    /** Arrays by what comes before the index. */
    std::map<Key, const Definition*> m_byBeginning;
    /** Names without the place for an index. */
    std::map<std::pair<Definition::Kind, std::string>, const Definition*> m_byBareName;
    std::map<const Definition*, std::unordered_set<std::string>> m_indexes;
};

/**
 * Looks for what a definition is derived from in the element around it, then in those further out: the path from the
 * device, which the format wants, is the last of them.
 */
class Derivation {
public:
    Derivation(const Definition& device, Warnings& warnings, const Limits& limits)
        : m_device(device), m_warnings(warnings), m_limits(limits) {}

    /**
     * The definition with all that it takes over. Its own children come after those taken over, or replace one of the
     * same name. Warns when there is nothing to derive from, and cuts a circle of derived definitions with a warning.
     *
     * @throws MalformedMap when derived definitions have more children than a map may have elements.
     */
    const Definition& resolve(const Definition& own);

    /** The enumeration that has the values of one, which may be derived. Warns when there are none. */
    const EnumerationDefinition& resolve(const EnumerationDefinition& own);

private:
    const Definition* baseOf(const Definition& own);
    const Definition* walk(const Definition& scope, const std::vector<std::string_view>& path, Definition::Kind kind,
                           const Definition* except);
    const Definition* childOf(const Definition& parent, std::string_view name, Definition::Kind kind, bool isLast,
                              const Definition* except);
    const Definition& derive(const Definition& own, const Definition& base);
    std::shared_ptr<Definitions> mergedChildren(const Definition& own, const Definition& base);
    Scope& scopeOf(const Definition& parent);
    void noteEnumerations(const Definition& definition);
    void noteEnumeration(const EnumerationDefinition& enumeration);
    const EnumerationDefinition* baseOf(const EnumerationDefinition& own);
    const EnumerationDefinition* findByField(const EnumerationDefinition& own);

    const Definition& m_device;
    Warnings& m_warnings;
    const Limits& m_limits;
    std::size_t m_nesting = 0;
    std::uint64_t m_mergedChildren = 0;
    std::deque<Definition> m_derived;
    /** Null while a definition is being resolved. */
    std::unordered_map<const Definition*, const Definition*> m_resolved;
    std::unordered_map<const Definitions*, std::unique_ptr<Scope>> m_scopes;
    std::unordered_map<const EnumerationDefinition*, const EnumerationDefinition*> m_resolvedEnumerations;
    bool m_hasNotedEnumerations = false;
    /** Enumerations by an element around them and the path from there, or the end of that path. */
    std::map<std::pair<const Definition*, std::string>, const EnumerationDefinition*> m_enumerations;
};

} // namespace Maps

#endif
