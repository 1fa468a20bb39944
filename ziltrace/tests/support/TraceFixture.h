/* SPDX-License-Identifier: MIT */
#ifndef ZILTRACE_TESTS_TRACE_FIXTURE_H
#define ZILTRACE_TESTS_TRACE_FIXTURE_H

#include "ZilTraceControl.h"

#include <cstdlib>
#include <mutex>
#include <string>
#include <vector>

#include <gtest/gtest.h>

inline constexpr ZilTraceHeader anyHeader{"src/Pump.cpp", 42, "start"};

/** A sink that stores all messages. */
class RecordingSink : public ZilTraceControl::Sink {
public:
    struct Entry {
        ZilTraceControl::Record record; /**< the pointers may be invalid: only compare them */
        std::string channel;
        ZilTraceHeader header;
        std::string text;
    };

    void write(const ZilTraceControl::Record& record) override {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_entries.push_back({record, record.channel, *record.header, record.text == nullptr ? "" : record.text});
    }

    std::vector<Entry> entries() const {
        const std::lock_guard<std::mutex> lock(m_mutex);
        return m_entries;
    }

    std::vector<std::string> texts() const {
        std::vector<std::string> result;
        for (const Entry& entry : entries()) {
            result.push_back(entry.text);
        }
        return result;
    }

private:
    mutable std::mutex m_mutex;
    std::vector<Entry> m_entries;
};

/** A fixture that restores the initial configuration of the process after each test. */
class TraceFixture : public ::testing::Test {
protected:
    TraceFixture() { unsetenv("ZILTRACE"); }

    ~TraceFixture() override {
        ZilTraceControl::setSink(nullptr);
        ZilTraceControl::resetLevels();
        configure("sink=stderr");
    }

    void configure(const std::string& specification) {
        std::string error;
        EXPECT_TRUE(ZilTraceControl::configure(specification, error)) << error;
    }
};

#endif
