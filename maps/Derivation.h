// SPDX-License-Identifier: MIT
/**
 * @file
 * Resolves derivedFrom, by which a definition inherits the properties and children of another definition.
 */
#ifndef RYNVEL_MAPS_DERIVATION_H
#define RYNVEL_MAPS_DERIVATION_H

#include <cstddef>
#include <deque>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "ArrayNames.h"
#include "Definition.h"
#include "Diagnostics.h"
#include "Limits.h"

namespace Maps {

/** The children of a definition, by name. */
class Scope {
public:
    Scope(const Definitions& children, std::uint64_t mostIndexes);

    /**
     * Returns the child that has the kind and the name; null if there is none. For an array, the name may also be the
     * name of an element, or the name of the array without the placeholder. Never returns `except`.
     */
    const Definition* find(Definition::Kind kind, std::string_view name, const Definition* except);

private:
    using Key = std::pair<Definition::Kind, std::string_view>;

    const Definition* findInArray(Definition::Kind kind, std::string_view name);
    bool isElement(const Definition& array, std::string_view name);

    std::uint64_t m_mostIndexes;
    std::map<Key, const Definition*> m_byName;
    /** The arrays, by the text before the placeholder. */
    std::map<Key, const Definition*> m_byBeginning;
    /** The arrays, by their names without the placeholder. */
    std::map<std::pair<Definition::Kind, std::string>, const Definition*> m_byBareName;
    /** The indexes of arrays; none if the dimIndex of an array does not give indexes. */
    std::map<const Definition*, std::optional<Indexes>> m_indexes;
};

/**
 * Resolves the definitions of a device. Searches for the base of a definition in the enclosing element of the
 * definition, and then in each outer element up to the device. The format requires paths that begin at the device. The
 * search tries these paths last.
 */
class Derivation {
public:
    Derivation(const Definition& device, Warnings& warnings, const Limits& limits)
        : m_device(device), m_warnings(warnings), m_limits(limits) {}

    /**
     * Returns the definition with everything that it inherits from its base. Inherited children precede the children of
     * the definition itself. A child of the definition replaces an inherited child with the same name. Warns about a
     * base that does not exist. Warns about a derivedFrom by which a definition would inherit from itself, and ignores
     * this derivedFrom.
     *
     * @throws MalformedMap if derived definitions have more children than a map may have elements.
     */
    const Definition& resolve(const Definition& own);

    /**
     * Returns the enumeration that has the values of `own`: `own` itself, or the enumeration from which `own` is
     * derived. Warns if no values exist.
     */
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
    /** The results of resolve(); null while a definition is being resolved. */
    std::unordered_map<const Definition*, const Definition*> m_resolved;
    std::unordered_map<const Definitions*, std::unique_ptr<Scope>> m_scopes;
    std::unordered_map<const EnumerationDefinition*, const EnumerationDefinition*> m_resolvedEnumerations;
    bool m_hasNotedEnumerations = false;
    /**
     * The named enumerations. The key is an enclosing element and a dotted path, such as `REGISTER.FIELD.NAME`. Each
     * enclosing element has one entry for the path from the element to the enumeration, and one for each ending of that
     * path, such as `NAME`.
     */
    std::map<std::pair<const Definition*, std::string>, const EnumerationDefinition*> m_enumerations;
};

} // namespace Maps

#endif
