/* SPDX-License-Identifier: MIT */
/**
 * @file
 * Limits the traces that a client can cause.
 */
#ifndef RYNVELD_TRACELIMIT_H
#define RYNVELD_TRACELIMIT_H

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <sys/socket.h>

namespace Rynveld {

/**
 * Allows each host `linesPerPeriod` lines per cause and period, and counts the suppressed lines. Threads: any number
 * may use the object at once.
 */
class TraceLimit {
public:
    using Time = std::chrono::steady_clock::time_point;

    static constexpr std::size_t linesPerPeriod = 20;
    static constexpr std::chrono::seconds period{10};
    /** The maximum number of entries for single hosts. Further hosts share one entry per cause. */
    static constexpr std::size_t maxEntries = 1000;
    static constexpr const char* otherHosts = "other hosts";

    /**
     * Counts a line of a host.
     *
     * @return the text to append to the line: the number of lines that were suppressed since the last admitted line, or
     *          an empty text if there are none. The optional is empty if this line must be suppressed.
     */
    std::optional<std::string> admit(const std::string& host, const std::string& cause,
                                     Time now = std::chrono::steady_clock::now());

    /** The number of lines that were suppressed in a period that has ended, and that no later line has reported. */
    struct Suppressed {
        std::string host;
        std::string cause;
        std::size_t count;
    };
    /** Returns the numbers of suppressed lines that were not reported, and marks them as reported. */
    std::vector<Suppressed> takeSuppressed(Time now);

    /** Returns the number of lines suppressed so far. */
    std::uint64_t suppressedCount();

private:
    struct Entry {
        Time end;
        std::size_t lines;
        std::size_t suppressed;
    };

    /** The host and the cause of a line. */
    using Key = std::pair<std::string, std::string>;

    Entry& entryOf(const Key& key, Time now);
    void removeQuietEntries(Time now);

    std::mutex m_mutex;
    std::map<Key, Entry> m_entries;
    std::uint64_t m_suppressedCount = 0;
};

/** The names of a client in traces, and the limit for the traces. */
struct Peer {
    /** The name of the client, for example "10.0.0.7:4711". */
    std::string name;
    /** The host of the client, for example "10.0.0.7". */
    std::string host;
    TraceLimit& limit;
    /** The process at the other end of a local socket; none for a TCP connection. */
    std::optional<ucred> process = std::nullopt;
};

} // namespace Rynveld

#endif
