// SPDX-License-Identifier: MIT
#include "AuditLine.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <ctime>

namespace Rynveld {

namespace {

/** Appends the last `count` decimal digits of a number. */
void appendDigits(std::string& text, std::uint64_t number, unsigned int count) {
    const std::size_t begin = text.size();
    text.resize(begin + count, '0');
    for (std::size_t i = text.size(); i > begin; number /= 10) {
        text[--i] = static_cast<char>('0' + number % 10);
    }
}

bool isPlain(char character) { return character >= ' ' && character <= '~' && character != '"' && character != '\\'; }

/** The number of decimal digits of UINT64_MAX. */
constexpr std::size_t mostDigits = 20;

/** The number of characters of an escape sequence such as \u001f. */
constexpr std::size_t longestEscape = 6;

/** Returns a time in UTC up to the decimal point, for example "2024-05-31T12:30:00.". */
std::string secondText(time_t second) {
    tm utc{};
    ::gmtime_r(&second, &utc);
    std::string text;
    const auto append = [&text](int number, unsigned int digits, char end) {
        appendDigits(text, static_cast<std::uint64_t>(number), digits);
        text += end;
    };
    append(utc.tm_year + 1900, 4, '-');
    append(utc.tm_mon + 1, 2, '-');
    append(utc.tm_mday, 2, 'T');
    append(utc.tm_hour, 2, ':');
    append(utc.tm_min, 2, ':');
    append(utc.tm_sec, 2, '.');
    return text;
}

} // namespace

void appendNumber(std::string& text, std::uint64_t number) {
    std::array<char, mostDigits> digits;
    const auto result = std::to_chars(digits.data(), digits.data() + digits.size(), number);
    text.append(digits.data(), result.ptr);
}

void AuditLine::makeRoom(std::size_t size) {
    if (m_text.size() - m_size < size) {
        m_text.resize(2 * (m_size + size));
    }
}

void AuditLine::put(std::string_view text) {
    std::copy(text.begin(), text.end(), m_text.data() + m_size);
    m_size += text.size();
}

void AuditLine::put(std::uint64_t number) {
    char* const end = m_text.data() + m_text.size();
    m_size = static_cast<std::size_t>(std::to_chars(m_text.data() + m_size, end, number).ptr - m_text.data());
}

void AuditLine::putName(std::string_view name) {
    if (m_size > 0) {
        put(',');
    }
    put('"');
    put(name);
    put('"');
    put(':');
}

void AuditLine::putText(std::string_view text) {
    constexpr std::string_view digits = "0123456789abcdef";
    put('"');
    for (const char character : text) {
        if (isPlain(character)) {
            put(character);
        } else if (character == '"' || character == '\\') {
            put('\\');
            put(character);
        } else {
            const auto byte = static_cast<unsigned char>(character);
            put("\\u00");
            put(digits[byte >> 4U]);
            put(digits[byte & 15U]);
        }
    }
    put('"');
}

AuditLine& AuditLine::restart(std::string_view members) {
    m_size = 0;
    makeRoom(members.size());
    put(members);
    return *this;
}

// `mostDigits` characters are enough for the punctuation around a member, and for the text `null`.
AuditLine& AuditLine::add(std::string_view name, std::string_view text) {
    makeRoom(name.size() + mostDigits + longestEscape * text.size());
    putName(name);
    putText(text);
    return *this;
}

AuditLine& AuditLine::add(std::string_view name, std::uint64_t value) {
    makeRoom(name.size() + 2 * mostDigits);
    putName(name);
    put(value);
    return *this;
}

AuditLine& AuditLine::add(std::string_view name, const std::uint32_t* values, std::size_t count) {
    makeRoom(name.size() + (count + 1) * (mostDigits + 1));
    putName(name);
    put('[');
    for (std::size_t i = 0; i < count; ++i) {
        if (i > 0) {
            put(',');
        }
        put(std::uint64_t{values[i]});
    }
    put(']');
    return *this;
}

AuditLine& AuditLine::addNull(std::string_view name) {
    makeRoom(name.size() + mostDigits);
    putName(name);
    put("null");
    return *this;
}

void UtcText::append(std::string& text, const timespec& time) {
    if (m_of != time.tv_sec) {
        m_of = time.tv_sec;
        m_second = secondText(time.tv_sec);
    }
    text += m_second;
    appendDigits(text, static_cast<std::uint64_t>(time.tv_nsec / 1000), 6);
    text += 'Z';
}

} // namespace Rynveld
