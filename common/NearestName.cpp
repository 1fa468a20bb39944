// SPDX-License-Identifier: MIT
#include "NearestName.h"

#include <algorithm>
#include <cstddef>
#include <numeric>

namespace Common {

namespace {

/**
 * Returns the smallest number of changes that turn one word into the other. A change replaces, inserts or deletes a
 * character, or swaps two adjacent characters.
 */
std::size_t distance(const std::string& one, const std::string& other) {
    std::vector<std::vector<std::size_t>> table(one.size() + 1, std::vector<std::size_t>(other.size() + 1));
    std::iota(table[0].begin(), table[0].end(), 0U);
    for (std::size_t i = 1; i <= one.size(); ++i) {
        table[i][0] = i;
        for (std::size_t j = 1; j <= other.size(); ++j) {
            const std::size_t changed = table[i - 1][j - 1] + (one[i - 1] == other[j - 1] ? 0 : 1);
            table[i][j] = std::min({changed, table[i][j - 1] + 1, table[i - 1][j] + 1});
            if (i > 1 && j > 1 && one[i - 1] == other[j - 2] && one[i - 2] == other[j - 1]) {
                table[i][j] = std::min(table[i][j], table[i - 2][j - 2] + 1);
            }
        }
    }
    return table[one.size()][other.size()];
}

} // namespace

std::vector<std::string> nearestNames(const std::string& word, const std::vector<std::string>& names) {
    std::vector<std::string> nearest;
    std::size_t most = word.empty() ? 0 : std::min<std::size_t>(2, word.size() - 1);
    for (const std::string& name : names) {
        const std::size_t mistakes = distance(word, name);
        if (mistakes < most) {
            nearest.clear();
            most = mistakes;
        }
        if (mistakes == most) {
            nearest.push_back(name);
        }
    }
    return nearest;
}

std::string alternatives(const std::vector<std::string>& names) {
    std::string list;
    for (std::size_t i = 0; i < names.size(); ++i) {
        const char* const separator = i == 0 ? "" : i + 1 == names.size() ? " or " : ", ";
        list += separator + names[i];
    }
    return list;
}

std::string didYouMean(const std::vector<std::string>& names) {
    std::vector<std::string> quoted;
    quoted.reserve(names.size());
    for (const std::string& name : names) {
        quoted.push_back('\'' + name + '\'');
    }
    return quoted.empty() ? "" : "did you mean " + alternatives(quoted) + '?';
}

} // namespace Common
