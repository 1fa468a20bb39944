/* SPDX-License-Identifier: MIT */
/**
 * @file
 * The table of watched registers for a terminal.
 */
#ifndef RYNVELCTL_WATCHTABLE_H
#define RYNVELCTL_WATCHTABLE_H

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <optional>
#include <string>
#include <vector>

#include "Report.h"

namespace Rynvelctl {

/** The values of registers at the last sample, those before their last changes, and a plot of the last samples. */
class WatchTable {
public:
    using TimePoint = std::chrono::steady_clock::time_point;

    struct Style {
        /** Whether changed values are highlighted. */
        bool usesColor;
        /** Whether there is a plot of the last values. */
        bool plots;
        /** Whether the plot has block characters of UTF-8. */
        bool usesUtf8;
        GivenBase base = std::nullopt;
    };

    /** @param device the device name. @param rows the number of watched registers, fields and bits. */
    WatchTable(const std::string& device, std::size_t rows, const Style& style);

    /** Stores the reading of a row at the current sample. */
    void take(std::size_t row, const Reading& reading);

    /** Ends a sample. Call take() for each row first. */
    void endSample(TimePoint time);

    /** Returns the lines of the table, cut to a number of columns and to a number of lines. */
    std::vector<std::string> lines(std::size_t columns, std::size_t count) const;

private:
    struct Row {
        std::string name;
        std::optional<std::uint64_t> number;
        std::string value;
        /** The value before the last change; empty if the value has not changed. */
        std::string oldValue;
        bool isChanged = false;
        TimePoint lastChange;
        std::deque<std::uint64_t> history;
    };

    std::string title() const;
    bool isHighlighted(const Row& row) const;
    std::string plotOf(const Row& row, std::size_t columns) const;

    std::string m_device;
    Style m_style;
    std::vector<Row> m_rows;
    TimePoint m_start;
    /** The times of the last samples. */
    std::deque<TimePoint> m_samples;
};

/** Returns a time in the form 0:01:59. */
std::string elapsedText(std::chrono::seconds time);

/** Returns whether the environment selects UTF-8. */
bool isUtf8Selected();

} // namespace Rynvelctl

#endif
