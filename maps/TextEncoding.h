// SPDX-License-Identifier: MIT
/**
 * @file
 * The encodings that register maps come in.
 */
#ifndef RYNVEL_MAPS_TEXTENCODING_H
#define RYNVEL_MAPS_TEXTENCODING_H

#include <string>
#include <string_view>

namespace Maps {

struct Utf8Text {
    std::string text;
    /** Whether the bytes were neither UTF-8 nor UTF-16, and the file does not declare Latin-1, as which they were read.
     */
    bool isGuessed = false;
};

/** Converts UTF-16 and Latin-1 to UTF-8, and removes a byte order mark. Line ends stay where they are. */
Utf8Text toUtf8(std::string bytes);

/** The text without the white space around it. */
std::string_view trimmed(std::string_view text);

/** Makes one line of a text: white space, control characters and the format's own `\n` become single spaces. */
std::string oneLine(const std::string& text);

} // namespace Maps

#endif
