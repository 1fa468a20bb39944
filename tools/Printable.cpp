// SPDX-License-Identifier: MIT
#include "Printable.h"

#include <algorithm>
#include <array>

namespace Rynvelctl {

namespace {

struct CodeRange {
    char32_t first;
    char32_t last;
};

/** The control characters of ASCII and of ISO 6429, and the characters that control the direction of a text. */
constexpr std::array<CodeRange, 6> controls{
    {{0x00, 0x1F}, {0x7F, 0x9F}, {0x061C, 0x061C}, {0x200E, 0x200F}, {0x202A, 0x202E}, {0x2066, 0x2069}}};

/** Latin, Greek and Cyrillic, without the soft hyphen and without combining characters. */
constexpr std::array<CodeRange, 5> singleColumns{
    {{0x20, 0x7E}, {0xA0, 0xAC}, {0xAE, 0x02FF}, {0x0370, 0x0482}, {0x048A, 0x052F}}};

template <std::size_t count>
bool isIn(const std::array<CodeRange, count>& ranges, char32_t code) {
    return std::any_of(ranges.begin(), ranges.end(),
                       [code](const CodeRange& range) { return range.first <= code && code <= range.last; });
}

bool isLineEnd(const Character& character) { return character.code == U'\n'; }

/** A form of UTF-8 for the characters with the same number of bytes. */
struct Utf8Form {
    std::size_t size;
    /** The bits of the first byte that determine the size, and their values. @{ */
    unsigned char mask;
    unsigned char mark;
    /** @} */
    char32_t lowest;
};

constexpr std::array<Utf8Form, 4> utf8Forms{
    {{1, 0x80, 0x00, 0x0}, {2, 0xE0, 0xC0, 0x80}, {3, 0xF0, 0xE0, 0x800}, {4, 0xF8, 0xF0, 0x10000}}};

/**
 * Returns the code of a character of this form; less than `form.lowest` if the text does not begin with a character of
 * this form.
 */
char32_t codeOf(std::string_view text, const Utf8Form& form) {
    constexpr unsigned char continuationMask = 0xC0;
    constexpr unsigned char continuationMark = 0x80;
    constexpr unsigned bits = 6;
    char32_t code = static_cast<unsigned char>(text.front()) & static_cast<unsigned char>(~form.mask);
    for (std::size_t i = 1; i < form.size; ++i) {
        const auto byte = i < text.size() ? static_cast<unsigned char>(text[i]) : static_cast<unsigned char>(0);
        if ((byte & continuationMask) != continuationMark) {
            return 0;
        }
        code = code << bits | static_cast<char32_t>(byte & static_cast<unsigned char>(~continuationMask));
    }
    return code;
}

/** Returns the text with a question mark in place of every character for which `isShown` returns false. */
template <typename Property>
std::string withMarks(std::string_view text, const Property& isShown) {
    std::string result;
    result.reserve(text.size());
    while (!text.empty()) {
        const Character character = firstCharacter(text);
        result += isShown(character) ? text.substr(0, character.size) : "?";
        text.remove_prefix(character.size);
    }
    return result;
}

} // namespace

bool Character::isControl() const { return isIn(controls, code); }

Character firstCharacter(std::string_view text) {
    const auto first = static_cast<unsigned char>(text.front());
    const auto* const form = std::find_if(utf8Forms.begin(), utf8Forms.end(), [first](const Utf8Form& candidate) {
        return (first & candidate.mask) == candidate.mark;
    });
    if (form != utf8Forms.end()) {
        const char32_t code = codeOf(text, *form);
        constexpr char32_t highest = 0x10FFFF;
        if (code >= form->lowest && code <= highest) {
            return {code, form->size};
        }
    }
    return {first, 1};
}

std::string printable(std::string_view text) {
    return withMarks(text, [](const Character& character) { return !character.isControl(); });
}

std::string printableLines(std::string_view text) {
    return withMarks(text, [](const Character& character) { return isLineEnd(character) || !character.isControl(); });
}

std::string inSingleColumns(std::string_view text) {
    return withMarks(text, [](const Character& character) {
        return !character.isMalformed() && isIn(singleColumns, character.code);
    });
}

} // namespace Rynvelctl
