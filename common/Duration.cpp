#include "Duration.h"

#include <array>

namespace Common {

std::optional<std::chrono::milliseconds> parseDuration(const std::string& text) {
    struct Unit {
        const char* name;
        std::chrono::milliseconds length;
    };
    static constexpr std::array<Unit, 3> units{
        {{"ms", std::chrono::milliseconds(1)}, {"s", std::chrono::seconds(1)}, {"m", std::chrono::minutes(1)}}};
    constexpr std::chrono::milliseconds longest = std::chrono::hours(24);
    constexpr std::size_t mostDigits = 8;
    if (text == "0") {
        return std::chrono::milliseconds(0);
    }
    const auto end = text.find_first_not_of("0123456789");
    if (end == 0 || end == std::string::npos || end > mostDigits) {
        return std::nullopt;
    }
    for (const auto& unit : units) {
        if (text.substr(end) == unit.name) {
            const auto duration =
                std::stol(text.substr(0, end)) * std::chrono::duration<long long, std::milli>(unit.length);
            return duration <= longest ? std::optional<std::chrono::milliseconds>(duration) : std::nullopt;
        }
    }
    return std::nullopt;
}

} // namespace Common
