/* SPDX-License-Identifier: MIT */
#ifndef RYNVEL_TESTS_AUDITLINES_H
#define RYNVEL_TESTS_AUDITLINES_H

#include <map>
#include <string>
#include <vector>

namespace RynvelTest {

/** The members of a line of an audit. Each value is JSON text. */
using AuditMembers = std::map<std::string, std::string>;

/**
 * Returns the members of a JSON object on one line without its line end. Returns no members if the text is not such an
 * object, or if a member occurs twice. A value must be a string, a number, null or an array of numbers.
 */
AuditMembers membersOf(const std::string& line);

/** Returns the members of each line of a file. Expects every line to be whole. */
std::vector<AuditMembers> auditIn(const std::string& path);

/** Expects the numbers of the lines to be 1, 2, 3 and so on. */
void expectNumbersWithoutGaps(const std::vector<AuditMembers>& lines);

/** Returns the lines without their numbers and times, which differ each time, as JSON text. */
std::vector<std::string> withoutNumbersAndTimes(const std::vector<std::string>& lines);

} // namespace RynvelTest

#endif
