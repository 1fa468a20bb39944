// SPDX-License-Identifier: MIT
#include "TerminalScreen.h"

#include <algorithm>
#include <cctype>

#include <gtest/gtest.h>

namespace RynvelTest {

namespace {

constexpr char escape = '\x1b';

bool continuesCharacter(char byte) { return (static_cast<unsigned char>(byte) & 0xC0U) == 0x80U; }

} // namespace

void TerminalScreen::resize(std::size_t columns, std::size_t rows) {
    m_cells.resize(rows);
    for (auto& row : m_cells) {
        row.resize(columns);
    }
    m_row = rows - 1;
    m_column = std::min(m_column, columns);
}

void TerminalScreen::show(char byte) {
    if (!m_sequence.empty()) {
        m_sequence += byte;
        if (m_sequence == "\x1b\x37" || m_sequence == "\x1b\x38") {
            keepCursor(byte);
            m_sequence.clear();
        } else if (m_sequence.size() > 2 && std::isalpha(static_cast<unsigned char>(byte)) != 0) {
            control(m_sequence.substr(2, m_sequence.size() - 3), byte);
            m_sequence.clear();
        }
    } else if (byte == escape) {
        m_sequence = byte;
    } else if (byte == '\r') {
        m_column = 0;
    } else if (byte == '\n') {
        feedLine();
    } else if (byte != '\0') {
        showCharacter(byte);
    }
}

void TerminalScreen::showCharacter(char byte) {
    if (continuesCharacter(byte)) {
        m_cells[m_row][m_column - 1].character += byte;
        return;
    }
    const auto code = static_cast<unsigned char>(byte);
    EXPECT_TRUE(std::isprint(code) != 0 || code >= 0x80) << static_cast<int>(code);
    if (m_column == m_cells[m_row].size()) {
        m_column = 0;
        feedLine();
    }
    m_cells[m_row][m_column] = {std::string(1, byte), m_isHighlighted};
    ++m_column;
}

void TerminalScreen::feedLine() {
    if (m_row + 1 < m_cells.size()) {
        ++m_row;
        return;
    }
    const std::size_t columns = m_cells.front().size();
    m_cells.erase(m_cells.begin());
    m_cells.emplace_back(columns);
}

void TerminalScreen::control(const std::string& parameters, char function) {
    const std::string sequence = parameters + function;
    if (function == 'A') {
        m_row -= std::min<std::size_t>(m_row, std::stoul(parameters));
    } else if (function == 'B') {
        m_row = std::min<std::size_t>(m_row + std::stoul(parameters), m_cells.size() - 1);
    } else if (sequence == "H") {
        m_row = m_column = 0;
    } else if (sequence == "K") {
        // A terminal also erases the last character of a full line.
        const std::size_t first = std::min(m_column, m_cells[m_row].size() - 1);
        std::fill(m_cells[m_row].begin() + static_cast<std::ptrdiff_t>(first), m_cells[m_row].end(), Cell());
    } else if (sequence == "J") {
        eraseRest(m_row, m_column);
        ++m_drawings;
    } else if (sequence == "2J") {
        eraseRest(0, 0);
    } else if (function == 'm') {
        m_isHighlighted = parameters != "0";
    } else if (sequence == "?25l" || sequence == "?25h") {
        m_isCursorVisible = function == 'h';
    } else {
        ADD_FAILURE() << "unknown control sequence " << sequence;
    }
}

void TerminalScreen::keepCursor(char function) {
    if (function == '7') {
        m_savedRow = m_row;
        m_savedColumn = m_column;
    } else {
        m_row = m_savedRow;
        m_column = m_savedColumn;
    }
}

void TerminalScreen::eraseRest(std::size_t row, std::size_t column) {
    for (; row < m_cells.size(); ++row, column = 0) {
        std::fill(m_cells[row].begin() + static_cast<std::ptrdiff_t>(std::min(column, m_cells[row].size())),
                  m_cells[row].end(), Cell());
    }
}

std::string TerminalScreen::row(std::size_t row) const {
    std::string text;
    bool isHighlighted = false;
    for (const Cell& cell : m_cells[row]) {
        if (cell.isHighlighted != isHighlighted) {
            text += isHighlighted ? '>' : '<';
            isHighlighted = cell.isHighlighted;
        }
        text += cell.character;
    }
    text += isHighlighted ? ">" : "";
    return text.substr(0, text.find_last_not_of(' ') + 1);
}

std::string TerminalScreen::text() const {
    std::string text;
    std::size_t end = 0;
    for (std::size_t i = 0; i < m_cells.size(); ++i) {
        text += row(i) + '\n';
        end = row(i).empty() ? end : text.size();
    }
    return text.substr(0, end);
}

} // namespace RynvelTest
