/* SPDX-License-Identifier: MIT */
#ifndef RYNVEL_TESTS_OPENCOUNTER_H
#define RYNVEL_TESTS_OPENCOUNTER_H

#include <algorithm>
#include <array>
#include <string>

#include <sys/inotify.h>
#include <unistd.h>

#include <gtest/gtest.h>

namespace RynvelTest {

/**
 * Counts how often a file is opened. Each call of next() waits until the file has been opened or closed since the
 * previous call, and returns the number of times that the file was opened.
 */
class OpenCounter {
public:
    explicit OpenCounter(const std::string& path) {
        EXPECT_NE(inotify_add_watch(m_events, path.c_str(), IN_OPEN | IN_CLOSE), -1);
    }
    OpenCounter(const OpenCounter&) = delete;
    OpenCounter& operator=(const OpenCounter&) = delete;
    ~OpenCounter() { close(m_events); }

    unsigned int next() const {
        std::array<inotify_event, 100> events{};
        const ssize_t size = read(m_events, events.data(), sizeof(events));
        return static_cast<unsigned int>(
            std::count_if(events.begin(), events.begin() + size / static_cast<ssize_t>(sizeof(inotify_event)),
                          [](const inotify_event& event) { return (event.mask & IN_OPEN) != 0; }));
    }

private:
    const int m_events = inotify_init1(IN_CLOEXEC);
};

} // namespace RynvelTest

#endif
