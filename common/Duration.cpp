// SPDX-License-Identifier: MIT
#include "Duration.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <string_view>

#include "Number.h"

namespace Common {

namespace {

struct Unit {
    std::string_view name;
    std::chrono::milliseconds length;
};

// The longest unit comes first, because describe() uses the first unit that gives a whole number.
constexpr std::array<Unit, 4> units{{{"h", std::chrono::hours(1)},
                                     {"m", std::chrono::minutes(1)},
                                     {"s", std::chrono::seconds(1)},
                                     {"ms", std::chrono::milliseconds(1)}}};

constexpr const char* unitNames = "ms, s, m or h";

constexpr NumberFormat eightDigits{false, false, 8};

bool isDigit(char character) { return character >= '0' && character <= '9'; }

/** Returns whether a number has a zero before another digit of its whole part. */
bool hasLeadingZero(std::string_view number) { return number.size() > 1 && number[0] == '0' && isDigit(number[1]); }

/** Returns the position of the unit in a duration; the length of the text if there is no unit. */
std::size_t endOfNumber(const std::string& text) {
    return std::min(text.find_first_not_of("0123456789."), text.size());
}

/**
 * Returns a duration of `number` units; none if the text is not a number, or if the duration is not a whole number of
 * milliseconds.
 */
std::optional<std::chrono::milliseconds> multiplied(std::string_view number, std::chrono::milliseconds unit) {
    const std::size_t point = std::min(number.find('.'), number.size());
    const auto whole = parseNumber(number.substr(0, point), eightDigits);
    if (!whole || hasLeadingZero(number) || point + 1 == number.size()) {
        return std::nullopt;
    }
    std::chrono::milliseconds result = *whole * unit;
    std::string_view fraction = number.substr(std::min(point + 1, number.size()));
    fraction = fraction.substr(0, fraction.find_last_not_of('0') + 1);
    if (fraction.empty()) {
        return result;
    }
    const auto numerator = parseNumber(fraction, eightDigits);
    std::uint32_t denominator = 1;
    for (std::size_t i = 0; i < std::min(fraction.size(), eightDigits.maxDigits); ++i) {
        denominator *= 10;
    }
    if (!numerator || *numerator * unit % denominator != std::chrono::milliseconds(0)) {
        return std::nullopt;
    }
    return result + *numerator * unit / denominator;
}

/**
 * Returns the text without leading zeros and without a point at the end of the number. Inserts a zero before a point at
 * the beginning.
 */
std::string corrected(const std::string& text) {
    const std::size_t end = endOfNumber(text);
    std::string number = text.substr(0, end);
    while (hasLeadingZero(number)) {
        number.erase(0, 1);
    }
    if (number.size() > 1 && number.front() == '.') {
        number.insert(0, 1, '0');
    }
    if (number.size() > 1 && number.back() == '.') {
        number.pop_back();
    }
    return number + text.substr(end);
}

} // namespace

std::optional<std::chrono::milliseconds> parseDuration(const std::string& text) {
    constexpr std::chrono::milliseconds maximum = std::chrono::hours(24);
    if (text == "0") {
        return std::chrono::milliseconds(0);
    }
    const std::size_t end = endOfNumber(text);
    for (const Unit& unit : units) {
        if (text.substr(end) == unit.name) {
            const auto duration = multiplied(std::string_view(text).substr(0, end), unit.length);
            return duration && *duration <= maximum ? duration : std::nullopt;
        }
    }
    return std::nullopt;
}

std::string notADuration(const std::string& text) {
    if (endOfNumber(text) == text.size() && std::any_of(text.begin(), text.end(), isDigit)) {
        return '\'' + text + "' has no unit (" + unitNames + ", for example 1.5s)";
    }
    const std::string hint = corrected(text);
    return '\'' + text + "' is not a time (" +
           (parseDuration(hint)
                ? "give " + hint
                : std::string("a number with the unit ") + unitNames + ", in whole milliseconds, at most one day") +
           ')';
}

std::string describe(std::chrono::milliseconds duration) {
    for (const Unit& unit : units) {
        if (duration.count() != 0 && duration % unit.length == std::chrono::milliseconds(0)) {
            return std::to_string(duration / unit.length) + ' ' + std::string(unit.name);
        }
    }
    return "0 ms";
}

timeval toTimeval(std::chrono::milliseconds duration) {
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(duration);
    timeval value{};
    value.tv_sec = static_cast<time_t>(seconds.count());
    value.tv_usec = static_cast<suseconds_t>(std::chrono::microseconds(duration - seconds).count());
    return value;
}

} // namespace Common
