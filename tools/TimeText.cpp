// SPDX-License-Identifier: MIT
#include "TimeText.h"

#include <algorithm>
#include <cctype>
#include <ctime>
#include <iomanip>
#include <sstream>

#include "Failure.h"

namespace Rynvelctl {

std::chrono::milliseconds parseDuration(const std::string& name, const std::string& text) {
    const auto duration = Common::parseDuration(text);
    if (!duration) {
        throw usageError("--" + name + ": " + Common::notADuration(text));
    }
    return *duration;
}

std::chrono::milliseconds parsePositiveDuration(const std::string& name, const std::string& text) {
    const auto duration = parseDuration(name, text);
    if (duration.count() == 0) {
        throw usageError("--" + name + ": the time must be greater than 0");
    }
    return duration;
}

std::string timeStamp(std::chrono::system_clock::time_point time) {
    using std::chrono::microseconds;
    using std::chrono::seconds;
    const auto sinceEpoch = time.time_since_epoch();
    const auto wholeSeconds = std::chrono::duration_cast<seconds>(sinceEpoch);
    const auto fraction = std::chrono::duration_cast<microseconds>(sinceEpoch - wholeSeconds);
    const auto calendarTime = static_cast<std::time_t>(wholeSeconds.count());
    std::tm parts{};
    gmtime_r(&calendarTime, &parts);
    std::ostringstream text;
    text << std::put_time(&parts, "%Y-%m-%dT%H:%M:%S") << '.' << std::setfill('0') << std::setw(6) << fraction.count()
         << 'Z';
    return text.str();
}

std::string timeStamp() { return timeStamp(std::chrono::system_clock::now()); }

bool isTimeStamp(std::string text) {
    std::replace_if(
        text.begin(), text.end(), [](unsigned char character) { return std::isdigit(character) != 0; }, '0');
    return text == "0000-00-00T00:00:00.000000Z";
}

} // namespace Rynvelctl
