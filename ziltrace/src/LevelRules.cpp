// SPDX-License-Identifier: MIT
#include "LevelRules.h"

#include <algorithm>
#include <cstddef>

namespace ziltrace {

bool matches(std::string_view pattern, std::string_view name) {
    std::size_t p = 0;
    std::size_t n = 0;
    std::size_t lastStar = std::string_view::npos;
    std::size_t resumeName = 0;
    while (n < name.size()) {
        if (p < pattern.size() && pattern[p] == '*') {
            lastStar = p++;
            resumeName = n;
        } else if (p < pattern.size() && (pattern[p] == '?' || pattern[p] == name[n])) {
            ++p;
            ++n;
        } else if (lastStar != std::string_view::npos) {
            p = lastStar + 1;
            n = ++resumeName;
        } else {
            return false;
        }
    }
    return pattern.find_first_not_of('*', p) == std::string_view::npos;
}

void LevelRules::add(const LevelRule& rule) {
    // The new rule overrides an earlier rule with the same pattern. If the earlier rule stayed, a program that often
    // sets levels would need more and more memory.
    const auto isShadowed = [&rule](const LevelRule& earlier) { return earlier.pattern == rule.pattern; };
    m_rules.erase(std::remove_if(m_rules.begin(), m_rules.end(), isShadowed), m_rules.end());
    m_rules.push_back(rule);
}

std::optional<ZilTraceLevel> LevelRules::levelFor(std::string_view name) const {
    const auto isFor = [name](const LevelRule& rule) { return matches(rule.pattern, name); };
    const auto latest = std::find_if(m_rules.rbegin(), m_rules.rend(), isFor);
    return latest == m_rules.rend() ? std::nullopt : std::optional<ZilTraceLevel>(latest->level);
}

} // namespace ziltrace
