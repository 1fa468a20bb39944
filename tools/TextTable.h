/* SPDX-License-Identifier: MIT */
/**
 * @file
 * Tables of text for people.
 */
#ifndef RYNVELCTL_TEXTTABLE_H
#define RYNVELCTL_TEXTTABLE_H

#include <cstddef>
#include <string>
#include <utility>
#include <vector>

namespace Rynvelctl {

/** Returns the number of characters in a UTF-8 text. */
std::size_t characterCount(const std::string& text);

/** Returns at most the given number of characters from the beginning of a UTF-8 text. */
std::string cutText(const std::string& text, std::size_t characters);

/** A table with aligned columns. */
class TextTable {
public:
    /** @param rows the rows, which must have the same number of cells. */
    explicit TextTable(std::vector<std::vector<std::string>> rows) : m_rows(std::move(rows)) {}

    /** Returns the lines without the final line end. A line ends after its last cell that is not empty. */
    std::string text() const { return text(std::string::npos); }

    /**
     * Returns the same text, with the last column wrapped so that lines fit in `lineWidth` characters. The last column
     * keeps a width of at least 30 characters.
     */
    std::string text(std::size_t lineWidth) const;

private:
    std::size_t width(std::size_t column) const;

    std::vector<std::vector<std::string>> m_rows;
};

} // namespace Rynvelctl

#endif
