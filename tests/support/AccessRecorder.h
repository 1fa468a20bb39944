/* SPDX-License-Identifier: MIT */
#ifndef RYNVEL_TESTS_ACCESSRECORDER_H
#define RYNVEL_TESTS_ACCESSRECORDER_H

#include <cstddef>
#include <string>
#include <vector>

namespace RynvelTest {

/**
 * A page of memory whose accesses are recorded one by one while it is watched, by the faults that they cause: each
 * instruction that touches the page runs alone. The memory after the page is watched, too: an access beyond the end of
 * the page is recorded as a second access. For amd64 only.
 */
class AccessRecorder {
public:
    static constexpr std::size_t pageSize = 4096;

    AccessRecorder();
    AccessRecorder(const AccessRecorder&) = delete;
    AccessRecorder& operator=(const AccessRecorder&) = delete;
    ~AccessRecorder();

    void* page() const { return m_pages; }

    void watch();

    /** Ends the watch and gives the accesses since it began, as "load OFFSET" or "store OFFSET". */
    std::vector<std::string> accesses();

private:
    void* const m_pages;
};

} // namespace RynvelTest

#endif
