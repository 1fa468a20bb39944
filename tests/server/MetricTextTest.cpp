// SPDX-License-Identifier: MIT
#include "MetricText.h"

#include <gtest/gtest.h>

namespace RynvelTest {
namespace {

using Rynveld::MetricText;

TEST(MetricText, ShowsTheTypeOfAMetricBeforeItsSamples) {
    MetricText text;
    text.addMetric("up_total", MetricText::Type::Counter, "Starts.");
    text.add(7);
    text.add({{"a", "1"}, {"b", "2"}}, 8);
    EXPECT_EQ(text.text(),
              "# HELP up_total Starts.\n# TYPE up_total counter\nup_total 7\nup_total{a=\"1\",b=\"2\"} 8\n");
}

TEST(MetricText, NamesTheTypes) {
    MetricText text;
    text.addMetric("g", MetricText::Type::Gauge, "h");
    text.addMetric("d", MetricText::Type::Histogram, "h");
    text.addSample("_sum", {}, "0.5");
    EXPECT_EQ(text.text(), "# HELP g h\n# TYPE g gauge\n# HELP d h\n# TYPE d histogram\nd_sum 0.5\n");
}

TEST(MetricText, EscapesTheValuesOfLabels) {
    MetricText text;
    text.addMetric("g", MetricText::Type::Gauge, "h");
    text.add({{"reason", "a \"b\" \\ c\nd 1"}}, 1);
    EXPECT_EQ(text.text(), "# HELP g h\n# TYPE g gauge\ng{reason=\"a \\\"b\\\" \\\\ c\\nd 1\"} 1\n");
}

TEST(MetricText, KeepsAllDigitsOfACount) {
    MetricText text;
    text.addMetric("c_total", MetricText::Type::Counter, "h");
    text.add(UINT64_MAX);
    EXPECT_NE(text.text().find("c_total 18446744073709551615\n"), std::string::npos);
}

} // namespace
} // namespace RynvelTest
