// SPDX-License-Identifier: MIT
#include "LineFormat.h"

#include <array>
#include <cstdint>
#include <cstdio>
#include <ratio>

namespace ziltrace {

namespace {

using Days = std::chrono::duration<std::int64_t, std::ratio<86400>>;

struct Date {
    std::int64_t year;
    std::int64_t month;
    std::int64_t day;
};

// This function replaces gmtime_r, which takes a lock of the C library. If a thread of the parent holds the lock during
// a fork, the lock stays locked forever in the child.
Date toDate(std::int64_t daysSince1970) {
    // The calculation begins the year in March, because the leap day is then the last day of the year.
    const std::int64_t daysSinceMarch0000 = daysSince1970 + 719468;
    const std::int64_t daysPerEra = 146097;
    const std::int64_t era =
        (daysSinceMarch0000 >= 0 ? daysSinceMarch0000 : daysSinceMarch0000 - daysPerEra + 1) / daysPerEra;
    const std::int64_t dayOfEra = daysSinceMarch0000 - era * daysPerEra;
    const std::int64_t yearOfEra = (dayOfEra - dayOfEra / 1460 + dayOfEra / 36524 - dayOfEra / 146096) / 365;
    const std::int64_t dayOfYear = dayOfEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);
    const std::int64_t monthFromMarch = (5 * dayOfYear + 2) / 153;
    const std::int64_t day = dayOfYear - (153 * monthFromMarch + 2) / 5 + 1;
    const std::int64_t month = monthFromMarch < 10 ? monthFromMarch + 3 : monthFromMarch - 9;
    return {yearOfEra + era * 400 + (month <= 2 ? 1 : 0), month, day};
}

void appendEscaped(std::string& out, char c) {
    const auto byte = static_cast<unsigned char>(c);
    if (c == '\\') {
        out += "\\\\";
    } else if (c == '\n') {
        out += "\\n";
    } else if (c == '\r') {
        out += "\\r";
    } else if (c == '\t') {
        out += "\\t";
    } else if (byte < 0x20 || byte == 0x7f) {
        const char* const digits = "0123456789abcdef";
        out += {'\\', 'x', digits[byte >> 4], digits[byte & 0xf]};
    } else {
        out += c;
    }
}

std::string orQuestionMark(const char* name) { return name == nullptr ? "?" : escaped(name); }

} // namespace

std::string escaped(std::string_view text) {
    std::string out;
    out.reserve(text.size());
    for (const char c : text) {
        appendEscaped(out, c);
    }
    return out;
}

std::string formatTime(std::chrono::system_clock::time_point time) {
    using namespace std::chrono;
    const auto sinceEpoch = floor<microseconds>(time.time_since_epoch());
    const auto days = floor<Days>(sinceEpoch);
    const Date date = toDate(days.count());
    const std::int64_t micros = (sinceEpoch - days).count();
    const std::int64_t secs = micros / 1000000;
    std::array<char, 128> out{};
    std::snprintf(out.data(), out.size(), "%04lld-%02lld-%02lldT%02lld:%02lld:%02lld.%06lldZ",
                  static_cast<long long>(date.year), static_cast<long long>(date.month),
                  static_cast<long long>(date.day), static_cast<long long>(secs / 3600),
                  static_cast<long long>(secs / 60 % 60), static_cast<long long>(secs % 60),
                  static_cast<long long>(micros % 1000000));
    return out.data();
}

std::string formatMessage(const ZilTraceControl::Record& record) {
    const char* const kind = record.kind == ZilTraceControl::Kind::Enter ? "ENTER" : "MSG";
    std::string message = std::to_string(record.threadId) + ' ' + escaped(record.channel) + ' ' +
                          std::to_string(record.level) + ' ' + kind + ' ' + orQuestionMark(record.header->file) + ':' +
                          std::to_string(record.header->line) + ' ' + orQuestionMark(record.header->function);
    if (record.text != nullptr) {
        message += ": " + escaped(record.text);
    }
    return message;
}

std::string formatLine(const ZilTraceControl::Record& record) {
    return formatTime(record.time) + ' ' + formatMessage(record) + '\n';
}

} // namespace ziltrace
