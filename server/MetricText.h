/* SPDX-License-Identifier: MIT */
/**
 * @file
 * The text format of Prometheus for metrics.
 */
#ifndef RYNVELD_METRICTEXT_H
#define RYNVELD_METRICTEXT_H

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace Rynveld {

/** The names and values of labels. The names must be valid; a value may be any text. */
using Labels = std::vector<std::pair<std::string, std::string>>;

/** A text in the format "text/plain; version=0.0.4" of Prometheus. Add all samples of a metric after the metric. */
class MetricText {
public:
    enum class Type { Counter, Gauge, Histogram };

    /** Begins a metric. @param help one line. */
    void addMetric(const std::string& name, Type type, const std::string& help);

    /** Adds a sample of the last metric. @{ */
    void add(const Labels& labels, std::uint64_t value) { addSample("", labels, std::to_string(value)); }
    void add(std::uint64_t value) { add({}, value); }
    /** @} */

    /**
     * Adds a sample whose name is that of the last metric with a suffix, such as "_sum".
     *
     * @param value the text of a number in C notation.
     */
    void addSample(const std::string& suffix, const Labels& labels, const std::string& value);

    const std::string& text() const { return m_text; }

private:
    std::string m_name;
    std::string m_text;
};

} // namespace Rynveld

#endif
