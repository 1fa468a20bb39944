// SPDX-License-Identifier: MIT
#include "Duration.h"

#include <algorithm>
#include <array>
#include <string_view>

#include "Number.h"

namespace Common {

namespace {

struct Unit {
    std::string_view name;
    std::chrono::milliseconds length;
};

// The longest unit comes first, because describe() uses the first unit that gives a whole number.
constexpr std::array<Unit, 3> units{
    {{"m", std::chrono::minutes(1)}, {"s", std::chrono::seconds(1)}, {"ms", std::chrono::milliseconds(1)}}};

constexpr NumberFormat eightDigits{false, false, 8};

} // namespace

std::optional<std::chrono::milliseconds> parseDuration(const std::string& text) {
    constexpr std::chrono::milliseconds maximum = std::chrono::hours(24);
    if (text == "0") {
        return std::chrono::milliseconds(0);
    }
    const auto end = std::min(text.find_first_not_of("0123456789"), text.size());
    const auto count = parseNumber(std::string_view(text).substr(0, end), eightDigits);
    for (const Unit& unit : units) {
        if (count && text.substr(end) == unit.name) {
            const auto duration = *count * std::chrono::duration<long long, std::milli>(unit.length);
            return duration <= maximum ? std::optional<std::chrono::milliseconds>(duration) : std::nullopt;
        }
    }
    return std::nullopt;
}

std::string notADuration(const std::string& text) {
    return '\'' + text + "' is not a time (a whole number with the unit ms, s or m, at most one day)";
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
