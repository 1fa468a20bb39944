// SPDX-License-Identifier: MIT
#include "AuditLine.h"

#include <array>
#include <charconv>
#include <ctime>

namespace Rynveld {

namespace {

void appendNumber(std::string& text, std::uint64_t number) {
    std::array<char, 20> digits{};
    const auto result = std::to_chars(digits.data(), digits.data() + digits.size(), number);
    text.append(digits.data(), result.ptr);
}

/** Appends the last `count` decimal digits of a number. */
void appendDigits(std::string& text, std::uint64_t number, unsigned int count) {
    const std::size_t begin = text.size();
    text.resize(begin + count, '0');
    for (std::size_t i = text.size(); i > begin; number /= 10) {
        text[--i] = static_cast<char>('0' + number % 10);
    }
}

void appendCharacter(std::string& text, char character) {
    constexpr const char* digits = "0123456789abcdef";
    if (character == '"' || character == '\\') {
        text += '\\';
        text += character;
    } else if (character >= ' ' && character <= '~') {
        text += character;
    } else {
        const auto byte = static_cast<unsigned char>(character);
        text += "\\u00";
        text += digits[byte >> 4U];
        text += digits[byte & 15U];
    }
}

} // namespace

void AuditLine::addName(const char* name) {
    m_members += m_members.empty() ? "\"" : ",\"";
    m_members += name;
    m_members += "\":";
}

AuditLine& AuditLine::add(const char* name, const std::string& text) {
    addName(name);
    m_members += '"';
    for (const char character : text) {
        appendCharacter(m_members, character);
    }
    m_members += '"';
    return *this;
}

AuditLine& AuditLine::add(const char* name, std::uint64_t value) {
    addName(name);
    appendNumber(m_members, value);
    return *this;
}

AuditLine& AuditLine::add(const char* name, const std::uint32_t* values, std::size_t count) {
    addName(name);
    m_members += '[';
    for (std::size_t i = 0; i < count; ++i) {
        m_members += i == 0 ? "" : ",";
        appendNumber(m_members, values[i]);
    }
    m_members += ']';
    return *this;
}

AuditLine& AuditLine::addNull(const char* name) {
    addName(name);
    m_members += "null";
    return *this;
}

std::string utcText(const timespec& time) {
    tm utc{};
    ::gmtime_r(&time.tv_sec, &utc);
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
    append(static_cast<int>(time.tv_nsec / 1000), 6, 'Z');
    return text;
}

} // namespace Rynveld
