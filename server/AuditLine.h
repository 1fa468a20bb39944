/* SPDX-License-Identifier: MIT */
/**
 * @file
 * The text of a line of the audit.
 */
#ifndef RYNVELD_AUDITLINE_H
#define RYNVELD_AUDITLINE_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>

#include <time.h>

namespace Rynveld {

/** The members of a JSON object on one line. The caller adds the members one by one. */
class AuditLine {
public:
    AuditLine() = default;
    /** Begins with the members of another line. */
    explicit AuditLine(std::string members) : m_members(std::move(members)) {}

    /**
     * Adds a string. The text may contain any bytes: the line has only printable ASCII characters, and shows every
     * other byte as \u00XX.
     */
    AuditLine& add(const char* name, const std::string& text);
    AuditLine& add(const char* name, std::uint64_t value);
    AuditLine& add(const char* name, const std::uint32_t* values, std::size_t count);
    AuditLine& addNull(const char* name);

    /** Returns the members with commas between them. */
    const std::string& members() const { return m_members; }

private:
    void addName(const char* name);

    std::string m_members;
};

/** Returns a time in UTC in the format of RFC 3339, with microseconds. */
std::string utcText(const timespec& time);

} // namespace Rynveld

#endif
