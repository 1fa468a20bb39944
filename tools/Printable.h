/* SPDX-License-Identifier: MIT */
/**
 * @file
 * Removes the characters that control a terminal from texts. Names from files, servers and the command line can contain
 * any character.
 */
#ifndef RYNVELCTL_PRINTABLE_H
#define RYNVELCTL_PRINTABLE_H

#include <cstddef>
#include <string>
#include <string_view>

namespace Rynvelctl {

/** A character of UTF-8. */
struct Character {
    char32_t code;
    /** The number of bytes of the character in the text. */
    std::size_t size;

    /**
     * Returns whether the object is a single byte that is not UTF-8. In that case, the code is the value of the byte.
     */
    bool isMalformed() const { return size == 1 && code > U'\x7F'; }

    /**
     * Returns whether the character controls a terminal: a control character, or a character that changes the direction
     * of text.
     */
    bool isControl() const;
};

/** Returns the first character of a text, which must not be empty. */
Character firstCharacter(std::string_view text);

/** Returns the text with a question mark in place of every character that controls a terminal. */
std::string printable(std::string_view text);

/** Does the same as printable(), but keeps the line feeds. */
std::string printableLines(std::string_view text);

/**
 * Returns the text with a question mark in place of every character that may be wider or narrower than a column of the
 * terminal. Letters of Latin, Greek and Cyrillic remain.
 */
std::string inSingleColumns(std::string_view text);

} // namespace Rynvelctl

#endif
