// SPDX-License-Identifier: MIT
#include "Configuration.h"

#include <cstddef>
#include <string_view>

#include "LineFormat.h"

namespace ziltrace {

namespace {

constexpr std::string_view sinkKey = "sink";
constexpr std::string_view filePrefix = "file:";

std::string trimmed(const std::string& text) {
    const char* const blanks = " \t";
    const std::size_t first = text.find_first_not_of(blanks);
    if (first == std::string::npos) {
        return {};
    }
    return text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

std::vector<std::string> splitItems(const std::string& specification) {
    std::vector<std::string> items;
    std::size_t begin = 0;
    for (std::size_t comma; (comma = specification.find(',', begin)) != std::string::npos; begin = comma + 1) {
        items.push_back(trimmed(specification.substr(begin, comma - begin)));
    }
    items.push_back(trimmed(specification.substr(begin)));
    return items;
}

// Each of the following functions returns the reason why the input is wrong; an empty text if the input is valid.

std::string addSink(const std::string& value, Configuration& configuration) {
    if (value == "stderr") {
        configuration.sink = SinkChoice{SinkChoice::Kind::Stderr, {}};
    } else if (value == "syslog") {
        configuration.sink = SinkChoice{SinkChoice::Kind::Syslog, {}};
    } else if (value == filePrefix) {
        return "no file name (give sink=file:PATH)";
    } else if (value.compare(0, filePrefix.size(), filePrefix) == 0) {
        configuration.sink = SinkChoice{SinkChoice::Kind::File, value.substr(filePrefix.size())};
    } else {
        return "unknown sink (the sinks are stderr, syslog and file:PATH)";
    }
    return {};
}

std::string addRule(const std::string& pattern, const std::string& value, Configuration& configuration) {
    if (pattern.empty()) {
        return "empty channel pattern (the pattern * matches all channels)";
    }
    const ZilTraceLevel level = value.size() == 1 ? value.front() - '0' : -1;
    if (!isConfigurableLevel(level)) {
        return "level is not a number from 0 to 7";
    }
    configuration.rules.push_back({pattern, level});
    return {};
}

std::string addItem(const std::string& item, Configuration& configuration) {
    if (item.empty()) {
        return "empty item (remove a comma)";
    }
    const std::size_t equals = item.find('=');
    if (equals == std::string::npos) {
        return "neither PATTERN=LEVEL nor sink=SINK";
    }
    const std::string key = trimmed(item.substr(0, equals));
    const std::string value = trimmed(item.substr(equals + 1));
    return key == sinkKey ? addSink(value, configuration) : addRule(key, value, configuration);
}

} // namespace

std::string itemError(const std::string& item, const std::string& reason) {
    return "'" + escaped(item) + "': " + reason;
}

std::optional<Configuration> parseConfiguration(const std::string& specification, std::string& error) {
    Configuration configuration;
    if (trimmed(specification).empty()) {
        return configuration;
    }
    for (const std::string& item : splitItems(specification)) {
        const std::string reason = addItem(item, configuration);
        if (!reason.empty()) {
            error = itemError(item, reason);
            return std::nullopt;
        }
    }
    return configuration;
}

} // namespace ziltrace
