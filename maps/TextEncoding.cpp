// SPDX-License-Identifier: MIT
#include "TextEncoding.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <utility>

namespace Maps {

namespace {

constexpr std::uint32_t replacement = 0xFFFD;

bool beginsWith(std::string_view text, std::string_view beginning) {
    return text.substr(0, beginning.size()) == beginning;
}

unsigned char byteAt(std::string_view bytes, std::size_t index) { return static_cast<unsigned char>(bytes[index]); }

void append(std::string& text, std::uint32_t character) {
    const auto addByte = [&text](std::uint32_t byte) { text.push_back(static_cast<char>(byte)); };
    if (character < 0x80) {
        addByte(character);
        return;
    }
    const int continuations = character < 0x800 ? 1 : character < 0x10000 ? 2 : 3;
    constexpr std::array<std::uint32_t, 4> leads{0, 0xC0, 0xE0, 0xF0};
    const auto shift = [](int index) { return static_cast<unsigned int>(6 * index); };
    addByte(leads.at(static_cast<std::size_t>(continuations)) | character >> shift(continuations));
    for (int i = continuations - 1; i >= 0; --i) {
        addByte(0x80U | (character >> shift(i) & 0x3FU));
    }
}

/** The code units of a UTF-16 text. */
class Units {
public:
    Units(std::string_view bytes, bool isBigEndian) : m_bytes(bytes), m_isBigEndian(isBigEndian) {}

    bool areLeft() const { return m_at + 1 < m_bytes.size(); }

    std::uint32_t takeCharacter() {
        const std::uint32_t unit = take();
        if (unit < 0xD800 || unit > 0xDFFF) {
            return unit;
        }
        const bool isPair = unit < 0xDC00 && areLeft() && (peek() & 0xFC00U) == 0xDC00U;
        return isPair ? 0x10000 + ((unit & 0x3FFU) << 10U) + (take() & 0x3FFU) : replacement;
    }

private:
    std::uint32_t peek() const {
        const std::uint32_t first = byteAt(m_bytes, m_at);
        const std::uint32_t second = byteAt(m_bytes, m_at + 1);
        return m_isBigEndian ? first << 8U | second : second << 8U | first;
    }

    std::uint32_t take() {
        const std::uint32_t unit = peek();
        m_at += 2;
        return unit;
    }

    std::string_view m_bytes;
    bool m_isBigEndian;
    std::size_t m_at = 0;
};

std::string fromUtf16(std::string_view bytes, bool isBigEndian) {
    std::string text;
    for (Units units(bytes, isBigEndian); units.areLeft();) {
        append(text, units.takeCharacter());
    }
    return text;
}

std::string fromLatin1(std::string_view bytes) {
    std::string text;
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        append(text, byteAt(bytes, i));
    }
    return text;
}

/** Returns the number of bytes after the first byte of a UTF-8 character; -1 for a byte that cannot be the first. */
int continuationsOf(unsigned char lead) {
    if (lead < 0x80) {
        return 0;
    }
    if (lead < 0xC2 || lead > 0xF4) {
        return -1;
    }
    return lead < 0xE0 ? 1 : lead < 0xF0 ? 2 : 3;
}

bool isUtf8(std::string_view bytes) {
    for (std::size_t at = 0; at < bytes.size();) {
        int continuations = continuationsOf(byteAt(bytes, at++));
        if (continuations < 0) {
            return false;
        }
        for (; continuations > 0; --continuations, ++at) {
            if (at == bytes.size() || (byteAt(bytes, at) & 0xC0U) != 0x80U) {
                return false;
            }
        }
    }
    return true;
}

/** Returns whether the XML declaration names Latin-1, or windows-1252, which is read as Latin-1. */
bool declaresLatin1(std::string_view bytes) {
    const std::string_view declaration = bytes.substr(0, beginsWith(bytes, "<?xml") ? bytes.find("?>") : 0);
    constexpr std::array<std::string_view, 5> names{"ISO-8859-1", "iso-8859-1", "latin1", "windows-1252",
                                                    "Windows-1252"};
    return std::any_of(names.begin(), names.end(), [declaration](std::string_view name) {
        return declaration.find(name) != std::string_view::npos;
    });
}

bool isSpace(char character) { return static_cast<unsigned char>(character) <= ' ' || character == '\x7F'; }

} // namespace

Utf8Text toUtf8(std::string bytes) {
    const std::string_view view = bytes;
    if (beginsWith(view, "\xEF\xBB\xBF")) {
        bytes.erase(0, 3);
    } else if (beginsWith(view, "\xFE\xFF")) {
        return {fromUtf16(view.substr(2), true)};
    } else if (beginsWith(view, "\xFF\xFE")) {
        return {fromUtf16(view.substr(2), false)};
    } else if (beginsWith(view, std::string_view("\0<", 2))) {
        return {fromUtf16(view, true)};
    } else if (beginsWith(view, std::string_view("<\0", 2))) {
        return {fromUtf16(view, false)};
    }
    if (isUtf8(bytes)) {
        return {std::move(bytes)};
    }
    return {fromLatin1(bytes), !declaresLatin1(bytes)};
}

std::string_view trimmed(std::string_view text) {
    constexpr std::string_view space = " \t\r\n";
    const std::size_t first = text.find_first_not_of(space);
    return first == std::string_view::npos ? std::string_view()
                                           : text.substr(first, text.find_last_not_of(space) - first + 1);
}

std::string oneLine(const std::string& text) {
    std::string line;
    bool isGap = false;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const bool isLineEnd = text.compare(i, 2, "\\n") == 0;
        if (isLineEnd || isSpace(text[i])) {
            isGap = !line.empty();
            i += isLineEnd ? 1 : 0;
            continue;
        }
        line.append(isGap ? " " : "").push_back(text[i]);
        isGap = false;
    }
    return line;
}

} // namespace Maps
