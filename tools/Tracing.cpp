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
    return wrongUsage("trace '" + setting + "' is not CHANNEL=LEVEL with a level from 0 to 7");
}

constexpr ZilTraceLevel silence = 0;
constexpr ZilTraceLevel everything = 7;

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

/** Whether a channel has a name that matches, in the judgement of the tracing library. The level is set anew then. */
bool namesAChannel(const std::string& pattern) {
    ZilTraceControl::setLevel(pattern, silence);
    const auto silent = levels();
    ZilTraceControl::setLevel(pattern, everything);
    return levels() != silent;
}

void apply(const std::string& setting) {
    const std::size_t place = setting.rfind('=');
    const std::string level = place == std::string::npos ? "" : setting.substr(place + 1);
    const std::string pattern = setting.substr(0, place);
    if (pattern.empty() || level.size() != 1 || level[0] < '0' || level[0] > '7') {
        throw malformed(setting);
    }
    if (!namesAChannel(pattern)) {
        throw wrongUsage("trace '" + setting + "' names no channel (there are " + channelNames() + ")");
    }
    ZilTraceControl::setLevel(pattern, static_cast<ZilTraceLevel>(level[0] - '0'));
}

} // namespace

void setUpTraces(const std::vector<std::string>& settings) {
    const char* const wanted = std::getenv("ZILTRACE");
    if (wanted == nullptr || *wanted == '\0') {
        ZilTraceControl::setLevel("*", silence);
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
        throw wrongUsage("--trace is not available: the tracing library of this build cannot be controlled");
    }
}

} // namespace Rynvelctl

#endif
