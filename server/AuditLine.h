/* SPDX-License-Identifier: MIT */
/**
 * @file
 * The text of a line of the audit.
 */
#ifndef RYNVELD_AUDITLINE_H
#define RYNVELD_AUDITLINE_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <time.h>

namespace Rynveld {

/** The members of a JSON object on one line. The caller adds the members one by one. */
class AuditLine {
public:
    AuditLine() = default;

    /** Replaces all members with these members. The object keeps its memory for the next line. */
    AuditLine& restart(std::string_view members);

    /**
     * Adds a string. `text` may contain any bytes. Every byte that is not a printable ASCII character becomes \u00XX in
     * the line, and a backslash precedes each quotation mark and backslash.
     */
    AuditLine& add(std::string_view name, std::string_view text);
    AuditLine& add(std::string_view name, std::uint64_t value);
    AuditLine& add(std::string_view name, const std::uint32_t* values, std::size_t count);
    AuditLine& addNull(std::string_view name);

    /** Returns the members with commas between them. The result is valid until the line changes. */
    std::string_view members() const { return {m_text.data(), m_size}; }

private:
    void makeRoom(std::size_t size);
    void put(char character) { m_text[m_size++] = character; }
    void put(std::string_view text);
    void put(std::uint64_t number);
    void putText(std::string_view text);
    void putName(std::string_view name);

    // std::string would check its capacity for each of the short additions, which would delay the responses.
    std::vector<char> m_text;
    std::size_t m_size = 0;
};

/** Appends a decimal number. */
void appendNumber(std::string& text, std::uint64_t number);

/** Writes times in UTC in the format of RFC 3339, with microseconds. */
class UtcText {
public:
    void append(std::string& text, const timespec& time);

private:
    /** The text of the latest time up to its decimal point. On a busy server, successive times usually share it. */
    std::string m_second;
    std::optional<time_t> m_of;
};

} // namespace Rynveld

#endif
