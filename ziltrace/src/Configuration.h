/* SPDX-License-Identifier: MIT */
#ifndef ZILTRACE_CONFIGURATION_H
#define ZILTRACE_CONFIGURATION_H

#include <optional>
#include <string>
#include <vector>

#include "LevelRules.h"

namespace ziltrace {

struct SinkChoice {
    enum class Kind { Stderr, Syslog, File };

    Kind kind;
    std::string path;
};

struct Configuration {
    std::vector<LevelRule> rules;
    std::optional<SinkChoice> sink;
};

/** Returns the error message for a wrong item of a configuration. */
std::string itemError(const std::string& item, const std::string& reason);

/** Returns the configuration. If `specification` is malformed, returns nothing and stores the reason in `error`. */
std::optional<Configuration> parseConfiguration(const std::string& specification, std::string& error);

} // namespace ziltrace

#endif
