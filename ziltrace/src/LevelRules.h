/* SPDX-License-Identifier: MIT */
#ifndef ZILTRACE_LEVEL_RULES_H
#define ZILTRACE_LEVEL_RULES_H

#include "ZilTrace.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace ziltrace {

constexpr bool isConfigurableLevel(ZilTraceLevel level) { return level >= 0 && level <= 7; }

/** Returns whether the whole name matches the pattern, in which `*` and `?` are wildcards. */
bool matches(std::string_view pattern, std::string_view name);

struct LevelRule {
    std::string pattern;
    ZilTraceLevel level;
};

/** The configured levels. A later rule overrides an earlier rule. */
class LevelRules {
public:
    void add(const LevelRule& rule);
    void clear() { m_rules.clear(); }
    /** Returns the level of the last rule that matches the name; nothing if no rule matches. */
    std::optional<ZilTraceLevel> levelFor(std::string_view name) const;

private:
    std::vector<LevelRule> m_rules;
};

} // namespace ziltrace

#endif
