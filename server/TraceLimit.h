/**
 * @file
 * Keeps clients from flooding the traces.
 */
#ifndef RYNVELD_TRACELIMIT_H
#define RYNVELD_TRACELIMIT_H

#include <chrono>
#include <cstddef>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace Rynveld {

/**
 * Lets a host have some lines for each cause in a period, and counts the others. Threads: any number may use it at
 * once.
 */
class TraceLimit {
public:
    using Time = std::chrono::steady_clock::time_point;

    static constexpr std::size_t linesPerPeriod = 20;
    static constexpr std::chrono::seconds period{10};
    /** Further hosts share one entry for each cause. */
    static constexpr std::size_t maxEntries = 1000;
    static constexpr const char* otherHosts = "other hosts";

    /**
     * What the line ends with: how many like it have been left out since the last one, or nothing.
     *
     * @return none when the line itself is to be left out.
     */
    std::optional<std::string> admit(const std::string& host, const std::string& cause,
                                     Time now = std::chrono::steady_clock::now());

    /** Lines of a period that has ended and that no later line has counted. */
    struct Suppressed {
        std::string host;
        std::string cause;
        std::size_t count;
    };
    /** Each is told once. */
    std::vector<Suppressed> takeSuppressed(Time now);

private:
    struct Entry {
        Time end;
        std::size_t lines;
        std::size_t suppressed;
    };

    /** Host and cause. */
    using Key = std::pair<std::string, std::string>;

    Entry& entryOf(const Key& key, Time now);
    void removeQuietEntries(Time now);

    std::mutex m_mutex;
    std::map<Key, Entry> m_entries;
};

/** A client, as traces show it. */
struct Peer {
    /** For instance "10.0.0.7:4711". */
    std::string name;
    /** The same without what differs from one connection to the next. */
    std::string host;
    TraceLimit& limit;
};

} // namespace Rynveld

#endif
