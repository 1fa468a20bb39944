/* SPDX-License-Identifier: MIT */
/**
 * @file
 * Fields and their values as text.
 */
#ifndef RYNVELCTL_FIELDTEXT_H
#define RYNVELCTL_FIELDTEXT_H

#include <string>
#include <utility>
#include <vector>

#include "FieldValues.h"
#include "NumberBase.h"
#include "Printable.h"
#include "RegisterRange.h"

namespace Rynvelctl {

/** Returns the name with the bits, such as `MODE[6:4]`, or `START[0]` for a single bit. */
std::string labelOf(const Maps::Field& field);

/** Returns `REGISTER.FIELD`. */
std::string pathOf(const RegisterRange& range, const Maps::FieldValue& value);

/** Returns the name of the value; empty if it has none. */
std::string meaningOf(const Maps::FieldValue& value);

/** Returns the value as a number, without its name. */
std::string numberOf(const Maps::FieldValue& value, GivenBase base);

/** Returns the value with its name, such as `1 (running)`. */
std::string textOf(const Maps::FieldValue& value, GivenBase base);

/** Lines of the form `LABEL = VALUE`, with the values in one column. */
class AssignmentLines {
public:
    void add(const std::string& label, const std::string& value) {
        m_lines.emplace_back(printable(label), "= " + value);
    }

    /** Adds a line with a note in place of the value. */
    void addNote(const std::string& label, const std::string& note) {
        m_lines.emplace_back(printable(label), '(' + note + ')');
    }

    /** Returns the lines without the final line end. */
    std::string text() const;

private:
    std::vector<std::pair<std::string, std::string>> m_lines;
};

} // namespace Rynvelctl

#endif
