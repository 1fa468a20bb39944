// SPDX-License-Identifier: MIT
#include "TraceLimit.h"

#include <gtest/gtest.h>

namespace RynvelTest {
namespace {

using Rynveld::TraceLimit;
using namespace std::chrono_literals;

class TraceLimitTest : public testing::Test {
protected:
    std::optional<std::string> admit(const std::string& host = "10.0.0.7", const std::string& cause = "a cause") {
        return m_limit.admit(host, cause, m_now);
    }

    /** Uses up the lines that a host may cause in a period. */
    void exhaust() {
        for (std::size_t i = 0; i < TraceLimit::linesPerPeriod; ++i) {
            EXPECT_EQ(admit(), "");
        }
        EXPECT_EQ(admit(), std::nullopt);
    }

    TraceLimit::Time m_now{24h};
    TraceLimit m_limit;
};

TEST_F(TraceLimitTest, SuppressesTheLinesAboveTheLimitOfAPeriod) {
    exhaust();
    m_now += TraceLimit::period - 1ms;
    EXPECT_EQ(admit(), std::nullopt);
}

TEST_F(TraceLimitTest, ReportsTheSuppressedLinesWithTheFirstLineOfTheNextPeriod) {
    exhaust();
    EXPECT_EQ(admit(), std::nullopt);
    m_now += TraceLimit::period;
    EXPECT_EQ(admit(), " (2 similar lines suppressed)");
    EXPECT_EQ(admit(), "");
}

TEST_F(TraceLimitTest, ReportsTheSuppressedLinesOfAnEndedPeriodOnce) {
    exhaust();
    EXPECT_EQ(admit(), std::nullopt);
    EXPECT_EQ(admit("10.0.0.8"), "");
    EXPECT_TRUE(m_limit.takeSuppressed(m_now + TraceLimit::period - 1ms).empty());
    const auto suppressed = m_limit.takeSuppressed(m_now + TraceLimit::period);
    ASSERT_EQ(suppressed.size(), 1U);
    EXPECT_EQ(suppressed[0].host, "10.0.0.7");
    EXPECT_EQ(suppressed[0].cause, "a cause");
    EXPECT_EQ(suppressed[0].count, 2U);
    m_now += TraceLimit::period;
    EXPECT_TRUE(m_limit.takeSuppressed(m_now).empty());
    EXPECT_EQ(admit(), "");
}

TEST_F(TraceLimitTest, CountsEveryHostAndEveryCauseSeparately) {
    exhaust();
    EXPECT_EQ(admit("10.0.0.8"), "");
    EXPECT_EQ(admit("10.0.0.7", "another cause"), "");
    EXPECT_EQ(admit(), std::nullopt);
}

TEST_F(TraceLimitTest, ForgetsQuietHosts) {
    for (std::size_t i = 1; i < TraceLimit::maxEntries; ++i) {
        EXPECT_EQ(admit(std::to_string(i)), "");
    }
    m_now += TraceLimit::period / 2;
    exhaust();
    m_now += TraceLimit::period / 2;
    EXPECT_EQ(admit("10.0.0.8"), "");
    EXPECT_EQ(admit(), std::nullopt);
}

TEST_F(TraceLimitTest, CountsHostsAboveTheLimitTogether) {
    for (std::size_t i = 0; i < TraceLimit::maxEntries; ++i) {
        EXPECT_EQ(admit(std::to_string(i)), "");
    }
    for (std::size_t i = 0; i < 2 * TraceLimit::maxEntries; ++i) {
        EXPECT_EQ(admit("another " + std::to_string(i)).has_value(), i < TraceLimit::linesPerPeriod) << i;
    }
    for (std::size_t i = 1; i < TraceLimit::linesPerPeriod; ++i) {
        EXPECT_EQ(admit("0"), "");
    }
    EXPECT_EQ(admit("0"), std::nullopt);
    const auto suppressed = m_limit.takeSuppressed(m_now + TraceLimit::period);
    ASSERT_EQ(suppressed.size(), 2U);
    EXPECT_EQ(suppressed[1].host, "other hosts");
    EXPECT_EQ(suppressed[1].count, 2 * TraceLimit::maxEntries - TraceLimit::linesPerPeriod);
}

} // namespace
} // namespace RynvelTest
