/* SPDX-License-Identifier: MIT */
#ifndef RYNVEL_TESTS_RECORDINGSINK_H
#define RYNVEL_TESTS_RECORDINGSINK_H

#include <string>
#include <utility>
#include <vector>

#include "AuditSink.h"

namespace RynvelTest {

/** The lines that a sink has received, and the error of its writes. */
struct Recording {
    std::vector<std::string> lines;
    /** The error number that each write returns; 0 for success. A write that fails adds no line. */
    int error = 0;
};

class RecordingSink : public Rynveld::AuditSink {
public:
    explicit RecordingSink(Recording& recording) : m_recording(recording) {}

    std::string name() const override { return "the sink"; }
    int write(const std::string& line) override {
        if (m_recording.error == 0) {
            m_recording.lines.push_back(line);
        }
        return m_recording.error;
    }

private:
    Recording& m_recording;
};

} // namespace RynvelTest

#endif
