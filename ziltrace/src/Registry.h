/* SPDX-License-Identifier: MIT */
#ifndef ZILTRACE_REGISTRY_H
#define ZILTRACE_REGISTRY_H

#include "ZilTraceControl.h"

#include <mutex>
#include <vector>

#include "Channel.h"
#include "LevelRules.h"

namespace ziltrace {

/** The channels of the process and their configured levels. You may call all functions from any thread. */
class Registry {
public:
    void add(const Channel& channel);
    void remove(const Channel& channel);

    void applyRules(const std::vector<LevelRule>& rules);
    void clearRules();
    std::vector<ZilTraceControl::ChannelState> states() const;

    std::mutex& mutex() { return m_mutex; }

private:
    void updateLevel(const Channel& channel) const;
    void updateLevels() const;

    mutable std::mutex m_mutex;
    std::vector<const Channel*> m_channels;
    LevelRules m_rules;
};

} // namespace ziltrace

#endif
