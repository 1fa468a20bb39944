// SPDX-License-Identifier: MIT
#include "TextTable.h"

#include <algorithm>
#include <utility>

#include "Formats.h"

namespace Rynvelctl {

namespace {

constexpr std::size_t gap = 2;

/** Characters, not bytes: every byte of UTF-8 counts that does not continue a character. */
std::size_t lengthOf(const std::string& text) {
    return static_cast<std::size_t>(std::count_if(
        text.begin(), text.end(), [](char byte) { return (static_cast<unsigned char>(byte) & 0xC0U) != 0x80U; }));
}

std::string lineOf(const std::vector<std::string>& row, const std::vector<std::size_t>& widths) {
    std::string line;
    std::size_t blanks = 0;
    for (std::size_t column = 0; column < row.size(); ++column) {
        line += row[column].empty() ? "" : std::string(std::exchange(blanks, 0), ' ') + row[column];
        blanks += widths[column] - lengthOf(row[column]) + gap;
    }
    return line;
}

} // namespace

std::string TextTable::text() const {
    std::vector<std::size_t> widths;
    for (std::size_t column = 0; !m_rows.empty() && column < m_rows.front().size(); ++column) {
        widths.push_back(width(column));
    }
    std::vector<std::string> lines;
    lines.reserve(m_rows.size());
    for (const auto& row : m_rows) {
        lines.push_back(lineOf(row, widths));
    }
    return joinLines(lines);
}

std::size_t TextTable::width(std::size_t column) const {
    std::size_t width = 0;
    for (const auto& row : m_rows) {
        width = std::max(width, lengthOf(row[column]));
    }
    return width;
}

} // namespace Rynvelctl
