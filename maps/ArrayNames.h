// SPDX-License-Identifier: MIT
/**
 * @file
 * The names of the elements of arrays.
 */
#ifndef RYNVEL_MAPS_ARRAYNAMES_H
#define RYNVEL_MAPS_ARRAYNAMES_H

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_set>
#include <vector>

namespace Maps {

/** Returns whether a text contains `%s`, the placeholder for an index. */
bool hasPlaceholder(std::string_view text);

/** Returns the text with every `%s` replaced by the index. */
std::string withIndex(std::string_view text, std::string_view index);

/** Returns the name without `%s` and `[%s]`. */
std::string withoutPlaceholder(std::string_view name);

/** The indexes of an array. */
class Indexes {
public:
    /** Creates the indexes `first` to `first + size - 1`. */
    Indexes(std::uint64_t first, std::uint64_t size);
    explicit Indexes(std::vector<std::string> names);

    std::uint64_t size() const { return m_size; }
    /** Returns the index at a position. The position must be below size(). */
    std::string at(std::uint64_t position) const;
    bool contains(const std::string& index) const;

private:
    std::uint64_t m_first = 0;
    std::uint64_t m_size;
    /** Empty if the indexes are numbers. */
    std::vector<std::string> m_names;
    std::unordered_set<std::string> m_known;
};

/**
 * Parses a list of indexes such as "A,B,C", or a range such as "0-3" or "A-D".
 *
 * @return the indexes; none for any other text, and for more than `most` indexes.
 */
std::optional<Indexes> parseIndexes(std::string_view text, std::uint64_t most);

} // namespace Maps

#endif
