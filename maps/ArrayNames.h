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
#include <vector>

namespace Maps {

/** Returns whether a text contains `%s`, the placeholder for an index. */
bool hasPlaceholder(std::string_view text);

/** Returns the text with the index instead of every `%s`. */
std::string withIndex(std::string_view text, std::string_view index);

/** Returns the name without `%s` and `[%s]`. */
std::string withoutPlaceholder(std::string_view name);

/**
 * Returns the indexes of a list such as "A,B,C", or of a range such as "0-3" or "A-D".
 *
 * @return the indexes; none for any other text, and for more than `most` indexes.
 */
std::optional<std::vector<std::string>> parseIndexes(std::string_view text, std::uint64_t most);

/** Returns the numbers from 0 to `size` - 1 as indexes. */
std::vector<std::string> countedIndexes(std::uint64_t size);

} // namespace Maps

#endif
