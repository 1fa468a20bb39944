// SPDX-License-Identifier: MIT
#include "TextTable.h"

#include <algorithm>
#include <numeric>
#include <sstream>
#include <utility>

#include "Formats.h"

namespace Rynvelctl {

namespace {

constexpr std::size_t gap = 2;

/** Returns whether a byte of UTF-8 begins a character. */
bool beginsCharacter(char byte) { return (static_cast<unsigned char>(byte) & 0xC0U) != 0x80U; }

std::string lineOf(const std::vector<std::string>& row, const std::vector<std::size_t>& widths) {
    std::string line;
    std::size_t blanks = 0;
    for (std::size_t column = 0; column < row.size(); ++column) {
        line += row[column].empty() ? "" : std::string(std::exchange(blanks, 0), ' ') + row[column];
        blanks += widths[column] - characterCount(row[column]) + gap;
    }
    return line;
}

/** Returns the width with which the last column fills a line, but at least a width with room for several words. */
std::size_t widthOfLast(const std::vector<std::size_t>& widths, std::size_t lineWidth) {
    constexpr std::size_t narrowest = 30;
    const std::size_t others = std::accumulate(widths.begin(), widths.end() - 1, std::size_t{0},
                                               [](std::size_t sum, std::size_t width) { return sum + width + gap; });
    return lineWidth > others + narrowest ? lineWidth - others : narrowest;
}

/** Returns a text as lines of at most `width` characters, at least one line. A longer word is alone on a line. */
std::vector<std::string> wrapped(const std::string& text, std::size_t width) {
    if (characterCount(text) <= width) {
        return {text};
    }
    std::vector<std::string> lines{""};
    std::istringstream words(text);
    for (std::string word; words >> word;) {
        const bool fits = characterCount(lines.back()) + 1 + characterCount(word) <= width;
        if (!fits && !lines.back().empty()) {
            lines.emplace_back();
        }
        lines.back() += (lines.back().empty() ? "" : " ") + word;
    }
    return lines;
}

} // namespace

std::size_t characterCount(const std::string& text) {
    return static_cast<std::size_t>(std::count_if(text.begin(), text.end(), beginsCharacter));
}

std::string cutText(const std::string& text, std::size_t characters) {
    std::size_t end = 0;
    for (std::size_t count = 0; end < text.size() && count < characters; ++count) {
        ++end;
        while (end < text.size() && !beginsCharacter(text[end])) {
            ++end;
        }
    }
    return text.substr(0, end);
}

std::string TextTable::text(std::size_t lineWidth) const {
    std::vector<std::size_t> widths;
    for (std::size_t column = 0; !m_rows.empty() && column < m_rows.front().size(); ++column) {
        widths.push_back(width(column));
    }
    std::vector<std::string> lines;
    lines.reserve(m_rows.size());
    for (auto row : m_rows) {
        for (const std::string& part : wrapped(row.back(), widthOfLast(widths, lineWidth))) {
            row.back() = part;
            lines.push_back(lineOf(row, widths));
            std::fill(row.begin(), row.end(), "");
        }
    }
    return joinLines(lines);
}

std::size_t TextTable::width(std::size_t column) const {
    std::size_t width = 0;
    for (const auto& row : m_rows) {
        width = std::max(width, characterCount(row[column]));
    }
    return width;
}

} // namespace Rynvelctl
