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

/** Returns the message about a wrong item of a configuration. */
std::string itemError(const std::string& item, const std::string& reason);

/** Returns the configuration; nothing, with the reason in `error`, if `specification` is malformed. */
std::optional<Configuration> parseConfiguration(const std::string& specification, std::string& error);

} // namespace ziltrace

#endif
