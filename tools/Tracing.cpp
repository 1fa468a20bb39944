#include "Tracing.h"

#include "Failure.h"

#ifdef RYNVELCTL_TRACE_CONTROL

#include <ZilTraceControl.h>

#include <cstdlib>

namespace Rynvelctl {

namespace {

Failure malformed(const std::string& setting) {
    return wrongUsage("trace '" + setting + "' is not CHANNEL=LEVEL with a level from 0 to 7");
}

void apply(const std::string& setting) {
    const std::size_t place = setting.rfind('=');
    const std::string level = place == std::string::npos ? "" : setting.substr(place + 1);
    if (level.size() != 1 || level[0] < '0' || level[0] > '7' ||
        !ZilTraceControl::setLevel(setting.substr(0, place), static_cast<ZilTraceLevel>(level[0] - '0'))) {
        throw malformed(setting);
    }
}

} // namespace

void setUpTraces(const std::vector<std::string>& settings) {
    if (std::getenv("ZILTRACE") == nullptr) {
        apply("*=0");
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
