/* SPDX-License-Identifier: MIT */
/**
 * @file
 * Reads JSON text.
 */
#ifndef RYNVELCTL_JSONREADER_H
#define RYNVELCTL_JSONREADER_H

#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

namespace Rynvelctl {

/** A value in a JSON text. */
struct JsonValue {
    enum class Kind {
        Null,
        Flag,
        /** From 0 to 2^64 - 1, written without a fraction and without an exponent. */
        WholeNumber,
        OtherNumber,
        String,
        Array,
        Object
    };
    Kind kind = Kind::Null;
    /** The line where the value begins, counted from 1. */
    std::size_t line = 1;
    /** The name of a member of an object; empty for any other value. */
    std::string name;
    /** The value of a whole number. */
    std::uint64_t number = 0;
    /** The value of a string. */
    std::string text;
    /** The elements of an array, or the members of an object, in the order of the text. */
    std::vector<JsonValue> parts;
};

/** Thrown if a text is not JSON, or does not have the contents that its reader expects. */
class WrongJson : public std::runtime_error {
public:
    WrongJson(std::size_t line, const std::string& text) : std::runtime_error(text), m_line(line) {}

    std::size_t line() const { return m_line; }

private:
    std::size_t m_line;
};

/**
 * Returns the value of a JSON text.
 *
 * @throws WrongJson if the text is not JSON, nests its values deeper than 8 levels, or has more than 2000000 values.
 */
JsonValue parseJson(const std::string& text);

} // namespace Rynvelctl

#endif
