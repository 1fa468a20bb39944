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

/** A table with aligned columns. */
class TextTable {
public:
    /** @param rows all with the same number of cells. */
    explicit TextTable(std::vector<std::vector<std::string>> rows) : m_rows(std::move(rows)) {}

    /** Returns the lines without the final line end. A line ends after its last cell that is not empty. */
    std::string text() const;

private:
    std::size_t width(std::size_t column) const;

    std::vector<std::vector<std::string>> m_rows;
};

} // namespace Rynvelctl

#endif
