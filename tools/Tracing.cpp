// SPDX-License-Identifier: MIT
#include "Tracing.h"

#include "Failure.h"

#ifdef RYNVELCTL_TRACE_CONTROL

#include <ZilTraceControl.h>

#include <cstdlib>
#include <set>
#include <vector>

namespace Rynvelctl {

namespace {

Failure malformed(const std::string& setting) {
    return usageError("--trace: '" + setting + "' is not CHANNEL=LEVEL with a level from 0 to 7");
}

constexpr ZilTraceLevel lowestLevel = 0;
constexpr ZilTraceLevel highestLevel = 7;

std::vector<ZilTraceLevel> levels() {
    std::vector<ZilTraceLevel> levels;
    for (const ZilTraceControl::ChannelState& channel : ZilTraceControl::channels()) {
        levels.push_back(channel.level);
    }
    return levels;
}

std::string channelNames() {
    std::set<std::string> names;
    for (const ZilTraceControl::ChannelState& channel : ZilTraceControl::channels()) {
        names.insert(channel.name);
    }
    std::string text;
    for (const std::string& name : names) {
        text += (text.empty() ? "" : ", ") + name;
    }
    return text;
}

// Changes the levels of the channels that match, because only the tracing library can match patterns. Afterwards, these
// channels are at the highest level.
bool matchesAChannel(const std::string& pattern) {
    ZilTraceControl::setLevel(pattern, lowestLevel);
    const auto lowest = levels();
    ZilTraceControl::setLevel(pattern, highestLevel);
    return levels() != lowest;
}

void apply(const std::string& setting) {
    const std::size_t separator = setting.rfind('=');
    const std::string level = separator == std::string::npos ? "" : setting.substr(separator + 1);
    const std::string pattern = setting.substr(0, separator);
    if (pattern.empty() || level.size() != 1 || level[0] < '0' || level[0] > '7') {
        throw malformed(setting);
    }
    if (!matchesAChannel(pattern)) {
        throw usageError("--trace: '" + setting + "' matches no channel (the channels are " + channelNames() + ")");
    }
    ZilTraceControl::setLevel(pattern, static_cast<ZilTraceLevel>(level[0] - '0'));
}

} // namespace

void setUpTraces(const std::vector<std::string>& settings) {
    const char* const environment = std::getenv("ZILTRACE");
    if (environment == nullptr || *environment == '\0') {
        ZilTraceControl::setLevel("*", lowestLevel);
    }
    for (const std::string& setting : settings) {
        apply(setting);
    }
}

} // namespace Rynvelctl

#else

namespace Rynvelctl {

void setUpTraces(const std::vector<std::string>& settings) {
    if (!settings.empty()) {
        throw usageError("--trace: not available (this build uses a tracing library that the program cannot control)");
    }
}

} // namespace Rynvelctl

#endif
