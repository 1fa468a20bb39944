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

/** Whether a text has the place for an index, `%s`. */
bool hasPlaceholder(std::string_view text);

/** The text with an index in place of every `%s`. */
std::string withIndex(std::string_view text, std::string_view index);

/** The name without `%s` or `[%s]`. */
std::string withoutPlaceholder(std::string_view name);

/**
 * The indexes that a list such as "A,B,C" names, or a range such as "0-3" or "A-D".
 *
 * @return none for another text, and for more than `most` indexes.
 */
std::optional<std::vector<std::string>> parseIndexes(std::string_view text, std::uint64_t most);

/** The indexes from 0 below a size. */
std::vector<std::string> countedIndexes(std::uint64_t size);

} // namespace Maps

#endif
