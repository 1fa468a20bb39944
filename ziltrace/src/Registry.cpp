// SPDX-License-Identifier: MIT
#include "Registry.h"

#include <algorithm>

namespace ziltrace {

void Registry::add(const Channel& channel) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_channels.push_back(&channel);
    updateLevel(channel);
}

void Registry::remove(const Channel& channel) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_channels.erase(std::remove(m_channels.begin(), m_channels.end(), &channel), m_channels.end());
}

void Registry::applyRules(const std::vector<LevelRule>& rules) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    for (const LevelRule& rule : rules) {
        m_rules.add(rule);
    }
    updateLevels();
}

void Registry::clearRules() {
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_rules.clear();
    updateLevels();
}

std::vector<ZilTraceControl::ChannelState> Registry::states() const {
    const std::lock_guard<std::mutex> lock(m_mutex);
    std::vector<ZilTraceControl::ChannelState> states;
    for (const Channel* channel : m_channels) {
        states.push_back({channel->name, channel->constructedLevel, channel->level.load(std::memory_order_relaxed)});
    }
    return states;
}

void Registry::updateLevel(const Channel& channel) const {
    const ZilTraceLevel level = m_rules.levelFor(channel.name).value_or(channel.constructedLevel);
    channel.level.store(level, std::memory_order_relaxed);
}

void Registry::updateLevels() const {
    for (const Channel* channel : m_channels) {
        updateLevel(*channel);
    }
}

} // namespace ziltrace
