/* SPDX-License-Identifier: MIT */
#ifndef RYNVEL_TESTS_TERMINALSCREEN_H
#define RYNVEL_TESTS_TERMINALSCREEN_H

#include <cstddef>
#include <string>
#include <vector>

namespace RynvelTest {

/**
 * The screen of a terminal. Interprets the control sequences that rynvelctl uses, and fails the test for all others.
 */
class TerminalScreen {
public:
    TerminalScreen(std::size_t columns, std::size_t rows) {
        resize(columns, rows);
        m_row = 0;
    }

    /**
     * Keeps the characters that fit. Moves the cursor to the last row, because a terminal may wrap the lines
     * differently after a change of its size.
     */
    void resize(std::size_t columns, std::size_t rows);

    void show(char byte);

    /** Returns a row without the blanks at its end, with < and > around highlighted characters. */
    std::string row(std::size_t row) const;
    /** Returns the rows up to the last one that is not empty, each with a line end. */
    std::string text() const;

    bool isCursorVisible() const { return m_isCursorVisible; }
    std::size_t cursorRow() const { return m_row; }
    std::size_t cursorColumn() const { return m_column; }

    /** Returns the number of times that the program has erased the rest of the screen, which ends a drawing. */
    std::size_t drawings() const { return m_drawings; }

private:
    struct Cell {
        std::string character = " ";
        bool isHighlighted = false;
    };

    void showCharacter(char byte);
    void feedLine();
    void control(const std::string& parameters, char function);
    void keepCursor(char function);
    void eraseRest(std::size_t row, std::size_t column);

    std::vector<std::vector<Cell>> m_cells;
    std::size_t m_row = 0;
    /** Equals the number of columns if the cursor is after the last column. The next character then begins a line. */
    std::size_t m_column = 0;
    std::size_t m_savedRow = 0;
    std::size_t m_savedColumn = 0;
    bool m_isHighlighted = false;
    bool m_isCursorVisible = true;
    std::size_t m_drawings = 0;
    /** The bytes of a control sequence that is incomplete; empty outside of one. */
    std::string m_sequence;
};

} // namespace RynvelTest

#endif
