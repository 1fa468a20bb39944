// SPDX-License-Identifier: MIT
#include "TraceLimit.h"

namespace Rynveld {

std::optional<std::string> TraceLimit::admit(const std::string& host, const std::string& cause, Time now) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    Entry& entry = entryOf({host, cause}, now);
    if (now >= entry.end) {
        entry.end = now + period;
        entry.lines = 0;
    }
    if (entry.lines == linesPerPeriod) {
        ++entry.suppressed;
        ++m_suppressedCount;
        return std::nullopt;
    }
    ++entry.lines;
    const std::size_t suppressed = std::exchange(entry.suppressed, 0);
    return suppressed == 0 ? "" : " (" + std::to_string(suppressed) + " similar lines suppressed)";
}

std::vector<TraceLimit::Suppressed> TraceLimit::takeSuppressed(Time now) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    std::vector<Suppressed> suppressed;
    for (auto& [key, entry] : m_entries) {
        if (now >= entry.end && entry.suppressed > 0) {
            suppressed.push_back({key.first, key.second, std::exchange(entry.suppressed, 0)});
        }
    }
    return suppressed;
}

std::uint64_t TraceLimit::suppressedCount() {
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_suppressedCount;
}

TraceLimit::Entry& TraceLimit::entryOf(const Key& key, Time now) {
    const auto found = m_entries.find(key);
    if (found != m_entries.end()) {
        return found->second;
    }
    removeQuietEntries(now);
    const Key& used = m_entries.size() < maxEntries ? key : Key{otherHosts, key.second};
    return m_entries.emplace(used, Entry{now + period, 0, 0}).first->second;
}

// If there are `maxEntries` entries, makes room for further hosts. Removes the entries of a past period that have no
// suppressed lines to report.
void TraceLimit::removeQuietEntries(Time now) {
    if (m_entries.size() < maxEntries) {
        return;
    }
    for (auto entry = m_entries.begin(); entry != m_entries.end();) {
        const bool isQuiet = now >= entry->second.end && entry->second.suppressed == 0;
        entry = isQuiet ? m_entries.erase(entry) : std::next(entry);
    }
}

} // namespace Rynveld
