#include "Views.h"

#include <algorithm>
#include <iomanip>
#include <numeric>
#include <sstream>

#include "Json.h"
#include "Numbers.h"

namespace Rynvelctl {

namespace {

constexpr unsigned int bytesPerLine = 16;

/** Lines joined by line ends, without a last one. */
std::string joined(const std::vector<std::string>& lines) {
    std::string text;
    for (const std::string& line : lines) {
        text += (text.empty() ? "" : "\n") + line;
    }
    return text;
}

template <typename Items, typename Function>
std::vector<std::string> each(const Items& items, const Function& function) {
    std::vector<std::string> texts;
    std::transform(items.begin(), items.end(), std::back_inserter(texts), function);
    return texts;
}

const char* unitName(const Addressing& addressing) {
    return addressing.unit() == AddressUnit::Bytes ? "address" : "index";
}

JsonObject placeInJson(const Subject& subject, const Addressing& addressing, const Place& place) {
    return JsonObject().add("name", subject.name()).add(unitName(addressing), place.number);
}

std::string placeAndValue(const Subject& subject, const Addressing& addressing, const Place& place,
                          std::uint32_t value) {
    return subject.name() + ' ' + addressing.text(place) + " = " + hexadecimal(value, subject.width());
}

class Table {
public:
    explicit Table(std::vector<std::vector<std::string>> rows) : m_rows(std::move(rows)) {}

    std::string text() const {
        return joined(each(m_rows, [&](const auto& row) { return line(row); }));
    }

private:
    std::size_t width(std::size_t column) const {
        std::size_t width = 0;
        for (const auto& row : m_rows) {
            width = std::max(width, row[column].size());
        }
        return width;
    }

    std::string line(const std::vector<std::string>& row) const {
        std::ostringstream line;
        for (std::size_t column = 0; column + 1 < row.size(); ++column) {
            line << std::left << std::setw(static_cast<int>(width(column) + 2)) << row[column];
        }
        line << row.back();
        return line.str();
    }

    std::vector<std::vector<std::string>> m_rows;
};

std::string fileState(const ListedDevice& device) {
    if (!device.isPresent) {
        return "remote";
    }
    return *device.isPresent ? "present" : "missing";
}

std::string listTable(const std::vector<ListedDevice>& devices) {
    std::vector<std::vector<std::string>> rows{{"NAME", "HANDLE", "PATH", "BACKEND", "WIDTH", "FILE"}};
    for (const ListedDevice& device : devices) {
        rows.push_back({device.name, std::to_string(device.handle), device.path, device.backend,
                        std::to_string(device.width), fileState(device)});
    }
    return Table(rows).text();
}

std::string inJson(const ListedDevice& device) {
    return JsonObject()
        .add("name", device.name)
        .add("handle", device.handle)
        .add("path", device.path)
        .add("backend", std::string(device.backend))
        .add("width", device.width)
        .addFlag("present", device.isPresent)
        .text();
}

template <typename Number>
std::string orNone(const std::optional<Number>& number) {
    return number ? std::to_string(*number) : "none";
}

std::string blockLine(const Subject& subject, const Addressing& addressing, const Place& first,
                      const std::vector<std::uint32_t>& values, std::size_t begin) {
    const std::size_t end = std::min(values.size(), begin + bytesPerLine * 8 / subject.width());
    std::string line = addressing.text(addressing.behind(first, static_cast<std::uint32_t>(begin))) + ':';
    for (std::size_t i = begin; i < end; ++i) {
        line += ' ' + hexadecimalDigits(values[i], subject.width());
    }
    return line;
}

std::string blockLines(const Subject& subject, const Addressing& addressing, const Place& first,
                       const std::vector<std::uint32_t>& values) {
    std::vector<std::string> lines;
    for (std::size_t begin = 0; begin < values.size(); begin += bytesPerLine * 8 / subject.width()) {
        lines.push_back(blockLine(subject, addressing, first, values, begin));
    }
    return joined(lines);
}

std::string inMilliseconds(std::chrono::nanoseconds time) {
    std::ostringstream text;
    text << std::fixed << std::setprecision(3) << std::chrono::duration<double, std::milli>(time).count();
    return text.str();
}

} // namespace

News deviceList(const std::vector<ListedDevice>& devices) {
    return {listTable(devices), joined(each(devices, [](const auto& device) { return device.name; })),
            jsonArray(each(devices, inJson))};
}

News deviceFacts(const Subject& subject, const DeviceFacts& facts) {
    const std::string width = std::to_string(subject.width());
    const std::vector<std::pair<std::string, std::string>> entries{{"name", subject.name()},
                                                                   {"path", subject.row.m_devicePath},
                                                                   {"backend", subject.backend()},
                                                                   {"width", width},
                                                                   {"map size", orNone(facts.mapSize)},
                                                                   {"interrupt type", orNone(facts.interruptType)},
                                                                   {"descriptor", orNone(facts.descriptor)}};
    std::vector<std::vector<std::string>> rows;
    rows.reserve(entries.size());
    for (const auto& [label, value] : entries) {
        rows.push_back({label + ':', value});
    }
    const std::optional<std::uint32_t> descriptor =
        facts.descriptor ? std::optional<std::uint32_t>(*facts.descriptor) : std::nullopt;
    return {Table(rows).text(), joined(each(entries, [](const auto& entry) { return entry.second; })),
            JsonObject()
                .add("name", subject.name())
                .add("path", subject.row.m_devicePath)
                .add("backend", std::string(subject.backend()))
                .add("width", subject.width())
                .add("mapSize", facts.mapSize)
                .add("interruptType", facts.interruptType)
                .add("descriptor", descriptor)
                .text()};
}

News registerValue(const Subject& subject, const Addressing& addressing, const Place& place, std::uint32_t value) {
    return {placeAndValue(subject, addressing, place, value), hexadecimal(value, subject.width()),
            placeInJson(subject, addressing, place).add("value", value).text()};
}

News writtenValue(const Subject& subject, const Addressing& addressing, const Place& place, std::uint32_t value) {
    News news = registerValue(subject, addressing, place, value);
    news.quiet.clear();
    return news;
}

News maskedValue(const Subject& subject, const Addressing& addressing, const Place& place, std::uint32_t value,
                 std::uint32_t mask) {
    return {placeAndValue(subject, addressing, place, value & mask) + " under " + hexadecimal(mask, subject.width()),
            "", placeInJson(subject, addressing, place).add("value", value & mask).add("mask", mask).text()};
}

News filledRegisters(const Subject& subject, const Addressing& addressing, const Place& first, std::uint32_t count,
                     std::uint32_t value) {
    return {placeAndValue(subject, addressing, first, value) + " in " + std::to_string(count) + " registers", "",
            placeInJson(subject, addressing, first).add("count", count).add("value", value).text()};
}

News registerBlock(const Subject& subject, const Addressing& addressing, const Place& first,
                   const std::vector<std::uint32_t>& values, Rynvel::ByteOrder order) {
    const std::string orderName = order == Rynvel::ByteOrder::Network ? "network" : "host";
    const auto bare = each(values, [&](std::uint32_t value) { return hexadecimal(value, subject.width()); });
    const auto numbers = each(values, [](std::uint32_t value) { return std::to_string(value); });
    return {blockLines(subject, addressing, first, values), joined(bare),
            placeInJson(subject, addressing, first)
                .add("width", subject.width())
                .add("order", orderName)
                .addJson("values", jsonArray(numbers))
                .text()};
}

News change(const Subject& subject, const Addressing& addressing, const Place& place, std::uint32_t value,
            const std::string& time) {
    return {time + ' ' + placeAndValue(subject, addressing, place, value),
            addressing.text(place) + ' ' + hexadecimal(value, subject.width()),
            placeInJson(subject, addressing, place).add("value", value).add("time", time).text()};
}

News requestResult(const Subject& subject, std::uint32_t request, std::uint32_t argument, int result) {
    const std::string text = std::to_string(result);
    return {subject.name() + " request " + hexadecimal(request) + " = " + text, text,
            JsonObject()
                .add("name", subject.name())
                .add("request", request)
                .add("argument", argument)
                .addJson("result", text)
                .text()};
}

News interruptType(const Subject& subject, std::uint32_t type) {
    return {subject.name() + " interrupt type = " + std::to_string(type), std::to_string(type),
            JsonObject().add("name", subject.name()).add("interruptType", type).text()};
}

News interruptState(const Subject& subject, const std::string& state) {
    return {subject.name() + " interrupt " + state, "",
            JsonObject().add("name", subject.name()).add("interrupt", state).text()};
}

News interrupt(const Subject& subject, std::uint32_t word, const std::string& time) {
    const std::string text = std::to_string(word);
    return {time + ' ' + subject.name() + " interrupt, word " + text, text,
            JsonObject().add("name", subject.name()).add("word", word).add("time", time).text()};
}

News roundTrips(const std::string& server, const std::vector<std::chrono::nanoseconds>& times) {
    const std::string count = std::to_string(times.size());
    const auto sum = std::accumulate(times.begin(), times.end(), std::chrono::nanoseconds(0));
    const std::string least = inMilliseconds(*std::min_element(times.begin(), times.end()));
    const std::string mean = inMilliseconds(sum / static_cast<std::int64_t>(times.size()));
    const std::string most = inMilliseconds(*std::max_element(times.begin(), times.end()));
    return {server + ": " + count + " round trips, min " + least + " ms, avg " + mean + " ms, max " + most + " ms",
            least + ' ' + mean + ' ' + most,
            JsonObject()
                .add("server", server)
                .add("roundTrips", times.size())
                .addJson("minMilliseconds", least)
                .addJson("avgMilliseconds", mean)
                .addJson("maxMilliseconds", most)
                .text()};
}

} // namespace Rynvelctl
