/* SPDX-License-Identifier: MIT */
#ifndef RYNVEL_TESTS_ACCESSRECORDER_H
#define RYNVEL_TESTS_ACCESSRECORDER_H

#include <cstddef>
#include <string>
#include <vector>

namespace RynvelTest {

/**
 * A page of memory, and a recorder of the accesses to the page while the test watches it. An access causes a fault. The
 * signal handler records the access, and then lets the processor execute that one instruction. The recorder also
 * watches the page that follows, so it records an access across the end of the page as two accesses. Works only on
 * amd64.
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

    /** Stops watching. Returns the accesses since watch(), each as "load OFFSET" or "store OFFSET". */
    std::vector<std::string> accesses();

private:
    void* const m_pages;
};

} // namespace RynvelTest

#endif
