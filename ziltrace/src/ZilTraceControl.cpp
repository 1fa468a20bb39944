// SPDX-License-Identifier: MIT
#include "ZilTraceControl.h"

#include "Runtime.h"

using ziltrace::runtime;

namespace ZilTraceControl {

bool configure(const std::string& specification, std::string& error) {
    return runtime().configure(specification, error);
}

bool setLevel(const std::string& pattern, ZilTraceLevel level) {
    if (pattern.empty() || !ziltrace::isConfigurableLevel(level)) {
        return false;
    }
    runtime().registry().applyRules({{pattern, level}});
    return true;
}

void resetLevels() { runtime().registry().clearRules(); }

std::vector<ChannelState> channels() { return runtime().registry().states(); }

Sink* setSink(Sink* sink) { return runtime().setSink(sink); }

} // namespace ZilTraceControl
