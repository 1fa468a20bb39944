/* SPDX-License-Identifier: MIT */
#ifndef RYNVEL_TESTS_RECORDINGMUTEX_H
#define RYNVEL_TESTS_RECORDINGMUTEX_H

#include <rynvel.hpp>

#include <memory>

#include "EventLog.h"

namespace RynvelTest {

/** A mutex that writes "lock", "unlock" and "mutex destroyed" to an event log. Its operations return a fixed result. */
class RecordingMutex : public Rynvel::IMutex {
public:
    explicit RecordingMutex(EventLog& log, bool answer = true) : m_log(log), m_answer(answer) {}
    ~RecordingMutex() override { m_log.emplace_back("mutex destroyed"); }

    bool lock() override { return record("lock"); }
    bool unlock() override { return record("unlock"); }

private:
    bool record(const char* event) {
        m_log.emplace_back(event);
        return m_answer;
    }

    EventLog& m_log;
    const bool m_answer;
};

} // namespace RynvelTest

#endif
