// SPDX-License-Identifier: MIT
#include "WatchTable.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <iomanip>
#include <sstream>
#include <string_view>
#include <utility>

#include "Formats.h"
#include "Printable.h"
#include "TextTable.h"

namespace Rynvelctl {

namespace {

constexpr std::size_t gapWidth = 2;
constexpr std::size_t longestHistory = 120;
constexpr std::size_t samplesOfRate = 10;
constexpr std::chrono::seconds highlightTime(1);
constexpr const char* highlight = "\x1b[1;35m";
constexpr const char* noHighlight = "\x1b[0m";

constexpr std::array<const char*, 8> blocks{"▁", "▂", "▃", "▄", "▅", "▆", "▇", "█"};
constexpr std::array<const char*, 8> asciiBlocks{"_", ".", "-", ":", "=", "+", "*", "#"};

/** The texts of a row that precede the plot. */
using Cells = std::array<std::string, 3>;
using Widths = std::array<std::size_t, 3>;
constexpr std::size_t valueColumn = 1;

/** A line that ends at a number of columns. Control sequences take no columns. */
class CutLine {
public:
    explicit CutLine(std::size_t columns) : m_left(columns) {}

    void add(const std::string& text) {
        const std::string cut = cutText(text, m_left);
        m_left -= characterCount(cut);
        m_text += cut;
    }

    void addHighlighted(const std::string& text) {
        m_text += highlight;
        add(text);
        m_text += noHighlight;
    }

    std::size_t left() const { return m_left; }

    /** Returns the line without blanks at its end. */
    std::string text() const { return m_text.substr(0, m_text.find_last_not_of(' ') + 1); }

private:
    std::size_t m_left;
    std::string m_text;
};

std::string padding(const std::string& text, std::size_t width) {
    std::string padded;
    padded.resize(width - characterCount(text) + gapWidth, ' ');
    return padded;
}

std::string withOneDecimal(double value) {
    std::ostringstream text;
    text << std::fixed << std::setprecision(1) << value;
    return text.str();
}

/** Returns the rate of the samples as text. @param period the time in seconds. */
std::string rateText(double samples, double period) {
    constexpr double lowestRate = 0.1;
    const double rate = samples / period;
    return rate < lowestRate ? withOneDecimal(period / samples) + " s/sample" : withOneDecimal(rate) + " samples/s";
}

void widen(Widths& widths, const Cells& cells) {
    for (std::size_t column = 0; column < cells.size(); ++column) {
        widths[column] = std::max(widths[column], characterCount(cells[column]));
    }
}

/** Returns the line with the cells. Blanks after the last cell separate it from a plot. */
CutLine lineOf(const Cells& cells, const Widths& widths, std::size_t columns, bool isHighlighted) {
    CutLine line(columns);
    for (std::size_t column = 0; column < cells.size(); ++column) {
        if (isHighlighted && column == valueColumn) {
            line.addHighlighted(cells[column]);
        } else {
            line.add(cells[column]);
        }
        line.add(padding(cells[column], widths[column]));
    }
    return line;
}

} // namespace

WatchTable::WatchTable(const std::string& device, std::size_t rows, const Style& style)
    : m_device(inSingleColumns(device)), m_style(style), m_rows(rows) {}

void WatchTable::take(std::size_t row, const Reading& reading) {
    Row& taken = m_rows[row];
    const std::uint64_t number = numberIn(reading);
    taken.isChanged = taken.number && *taken.number != number;
    if (taken.isChanged) {
        taken.oldValue = taken.value;
    }
    if (!taken.number) {
        taken.name = inSingleColumns(nameText(reading));
    }
    taken.number = number;
    taken.value = inSingleColumns(valueText(reading, m_style.base));
    taken.history.push_back(number);
    if (taken.history.size() > longestHistory) {
        taken.history.pop_front();
    }
}

void WatchTable::endSample(TimePoint time) {
    if (m_samples.empty()) {
        m_start = time;
    }
    m_samples.push_back(time);
    if (m_samples.size() > samplesOfRate) {
        m_samples.pop_front();
    }
    for (Row& row : m_rows) {
        row.lastChange = row.isChanged ? time : row.lastChange;
    }
}

std::vector<std::string> WatchTable::lines(std::size_t columns, std::size_t count) const {
    std::vector<Cells> cells{{"REGISTER", "VALUE", "OLD"}};
    Widths widths{};
    for (const Row& row : m_rows) {
        cells.push_back({row.name, row.value, row.oldValue});
    }
    for (const Cells& each : cells) {
        widen(widths, each);
    }
    std::vector<std::string> lines{cutText(title(), columns)};
    for (std::size_t i = 0; i < cells.size(); ++i) {
        CutLine line = lineOf(cells[i], widths, columns, i != 0 && isHighlighted(m_rows[i - 1]));
        if (m_style.plots) {
            line.add(i == 0 ? "LAST VALUES" : plotOf(m_rows[i - 1], line.left()));
        }
        lines.push_back(line.text());
    }
    if (lines.size() > count) {
        const std::string missing = "(" + std::to_string(lines.size() - count + 1) + " more)";
        lines.resize(count);
        if (!lines.empty()) {
            lines.back() = cutText(missing, columns);
        }
    }
    return lines;
}

std::string WatchTable::title() const {
    std::string text = m_device;
    if (m_samples.empty()) {
        return text;
    }
    text += "  " + elapsedText(std::chrono::duration_cast<std::chrono::seconds>(m_samples.back() - m_start));
    const double period = std::chrono::duration<double>(m_samples.back() - m_samples.front()).count();
    return period > 0 ? text + "  " + rateText(static_cast<double>(m_samples.size() - 1), period) : text;
}

bool WatchTable::isHighlighted(const Row& row) const {
    // A change stays highlighted for highlightTime, because a drawing of the table may skip samples.
    return m_style.usesColor && !row.oldValue.empty() &&
           (row.isChanged || m_samples.back() - row.lastChange < highlightTime);
}

std::string WatchTable::plotOf(const Row& row, std::size_t columns) const {
    const auto& levels = m_style.usesUtf8 ? blocks : asciiBlocks;
    const auto [lowest, highest] = std::minmax_element(row.history.begin(), row.history.end());
    std::string text;
    for (std::size_t i = row.history.size() - std::min(columns, row.history.size()); i < row.history.size(); ++i) {
        const double share = *highest == *lowest ? 0
                                                 : static_cast<double>(row.history[i] - *lowest) /
                                                       static_cast<double>(*highest - *lowest);
        text += levels[static_cast<std::size_t>(share * (blocks.size() - 1))];
    }
    return text;
}

std::string elapsedText(std::chrono::seconds time) {
    constexpr std::chrono::seconds::rep perUnit = 60;
    std::ostringstream text;
    text << time.count() / (perUnit * perUnit) << ':' << std::setfill('0') << std::setw(2)
         << time.count() / perUnit % perUnit << ':' << std::setw(2) << time.count() % perUnit;
    return text.str();
}

bool isUtf8Selected() {
    for (const char* const name : {"LC_ALL", "LC_CTYPE", "LANG"}) {
        const char* const value = std::getenv(name);
        if (value != nullptr && *value != '\0') {
            std::string locale = value;
            std::transform(locale.begin(), locale.end(), locale.begin(), [](char character) {
                return character >= 'A' && character <= 'Z' ? static_cast<char>(character - 'A' + 'a') : character;
            });
            return locale.find("utf-8") != std::string::npos || locale.find("utf8") != std::string::npos;
        }
    }
    return false;
}

} // namespace Rynvelctl
