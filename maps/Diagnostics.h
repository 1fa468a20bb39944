// SPDX-License-Identifier: MIT
/**
 * @file
 * What is wrong with a file, line by line.
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
    /** Counted from 1; 0 for the whole file. */
    std::size_t line = 0;
    std::string text;
};

/** Returns "FILE:LINE: warning: TEXT", or "FILE: warning: TEXT" for the whole file; "error" instead for an error. */
std::string render(const std::string& file, const Diagnostic& diagnostic);

/** Ends the reading of a file. */
class MalformedMap : public std::runtime_error {
public:
    MalformedMap(std::size_t line, const std::string& text) : std::runtime_error(text), m_line(line) {}

    std::size_t line() const { return m_line; }

private:
    std::size_t m_line;
};

/** Collects warnings, each line and text once, up to a number of them. */
class Warnings {
public:
    explicit Warnings(std::size_t most) : m_most(most) {}

    void add(std::size_t line, const std::string& text);

    /** The warnings in the order of their lines, and one more that counts those above the number. */
    std::vector<Diagnostic> inOrder() const;

private:
    std::size_t m_most;
    std::size_t m_further = 0;
    std::set<std::pair<std::size_t, std::string>> m_warnings;
};

} // namespace Maps

#endif
