// SPDX-License-Identifier: MIT
/**
 * @file
 * The text encodings of register maps.
 */
#ifndef RYNVEL_MAPS_TEXTENCODING_H
#define RYNVEL_MAPS_TEXTENCODING_H

#include <string>
#include <string_view>

namespace Maps {

struct Utf8Text {
    std::string text;
    /** Whether the bytes were read as Latin-1 without a declaration, because they are neither UTF-8 nor UTF-16. */
    bool isGuessed = false;
};

/**
 * Converts UTF-16 and Latin-1 to UTF-8, and removes a byte order mark. Does not change the line ends, so that line
 * numbers stay valid.
 */
Utf8Text toUtf8(std::string bytes);

/** Returns the text without leading and trailing white space. */
std::string_view trimmed(std::string_view text);

/**
 * Returns a text as one line. A single space replaces every sequence of white space and control characters. The two
 * characters `\n`, which the format uses for a line end, count as white space.
 */
std::string oneLine(const std::string& text);

} // namespace Maps

#endif
