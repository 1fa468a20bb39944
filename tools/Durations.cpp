#include "Durations.h"

#include <ctime>
#include <iomanip>
#include <sstream>

#include "Failure.h"

namespace Rynvelctl {

std::chrono::milliseconds parseDuration(const std::string& what, const std::string& text) {
    const auto duration = Common::parseDuration(text);
    if (!duration) {
        throw wrongUsage(what + " '" + text + "' is no time (a number and ms, s or m, up to a day)");
    }
    return *duration;
}

std::chrono::milliseconds parsePositiveDuration(const std::string& what, const std::string& text) {
    const auto duration = parseDuration(what, text);
    if (duration.count() == 0) {
        throw wrongUsage(what + " '" + text + "' is no time at all");
    }
    return duration;
}

std::string timeStamp(std::chrono::system_clock::time_point moment) {
    using std::chrono::microseconds;
    using std::chrono::seconds;
    const auto sinceEpoch = moment.time_since_epoch();
    const auto wholeSeconds = std::chrono::duration_cast<seconds>(sinceEpoch);
    const auto rest = std::chrono::duration_cast<microseconds>(sinceEpoch - wholeSeconds);
    const auto time = static_cast<std::time_t>(wholeSeconds.count());
    std::tm parts{};
    gmtime_r(&time, &parts);
    std::ostringstream text;
    text << std::put_time(&parts, "%Y-%m-%dT%H:%M:%S") << '.' << std::setfill('0') << std::setw(6) << rest.count()
         << 'Z';
    return text.str();
}

std::string timeStamp() { return timeStamp(std::chrono::system_clock::now()); }

} // namespace Rynvelctl
