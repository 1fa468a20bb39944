// SPDX-License-Identifier: MIT
/**
 * @file
 * The errors and warnings of a file, with their lines.
 */
#ifndef RYNVEL_MAPS_DIAGNOSTICS_H
#define RYNVEL_MAPS_DIAGNOSTICS_H

#include <cstddef>
#include <set>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace Maps {

enum class Severity {
    /** The rest of the file is used. */
    Warning,
    /** The file is not used. */
    Error
};

struct Diagnostic {
    Severity severity = Severity::Warning;
    /** The number of the line, counted from 1; 0 for the whole file. */
    std::size_t line = 0;
    std::string text;
};

/**
 * Returns "FILE:LINE: warning: TEXT", or "FILE: warning: TEXT" for the whole file. An error has "error" instead of
 * "warning".
 */
std::string render(const std::string& file, const Diagnostic& diagnostic);

/** Thrown if a file cannot be used as a map. what() is the text of the error. */
class MalformedMap : public std::runtime_error {
public:
    MalformedMap(std::size_t line, const std::string& text) : std::runtime_error(text), m_line(line) {}

    std::size_t line() const { return m_line; }

private:
    std::size_t m_line;
};

/** Collects warnings up to a maximum number. Of several warnings with the same line and text, keeps only one. */
class Warnings {
public:
    explicit Warnings(std::size_t most) : m_most(most) {}

    void add(std::size_t line, const std::string& text);

    /**
     * Returns the warnings in the order of their lines. If there are more than the maximum, one more warning gives the
     * number of the others.
     */
    std::vector<Diagnostic> inOrder() const;

private:
    std::size_t m_most;
    std::size_t m_further = 0;
    std::set<std::pair<std::size_t, std::string>> m_warnings;
};

} // namespace Maps

#endif
