// SPDX-License-Identifier: MIT
#include "FieldText.h"
#include "Formats.h"
#include "Numbers.h"

namespace Rynvelctl {

namespace {

std::string format(const DeviceList& devices) {
    std::vector<std::string> names;
    names.reserve(devices.size());
    for (const ListedDevice& device : devices) {
        names.push_back(device.name);
    }
    return joinLines(names);
}

std::string format(const DeviceInfo& info) {
    return joinLines({info.name, info.path, info.type, std::to_string(info.width), orNone(info.mapSize),
                      orNone(info.interruptType), orNone(info.descriptor)});
}

std::string format(const RegisterValue& read) { return hexadecimal(read.value, read.range.bits()); }

std::string format(const FieldReading& read) { return std::to_string(read.field.value); }

std::string format(const BitsReading& read) { return read.valueText(); }

std::string format(const RegisterListing& listing) {
    std::vector<std::string> lines;
    for (const ListedRegister& listed : listing.registers) {
        if (listed.value) {
            lines.push_back(listed.range.name() + ' ' + hexadecimal(*listed.value, listed.range.bits()));
        }
    }
    return joinLines(lines);
}

std::string format(const WrittenValue& /*written*/) { return ""; }

std::string format(const FilledRange& /*filled*/) { return ""; }

std::string format(const RegisterDump& dump) {
    std::vector<std::string> lines;
    lines.reserve(dump.values.size());
    for (const std::uint32_t value : dump.values) {
        lines.push_back(hexadecimal(value, dump.range.device().width()));
    }
    return joinLines(lines);
}

std::string placeOf(const RegisterValue& read) { return read.range.addressText(); }

std::string placeOf(const FieldReading& read) { return pathOf(read.range, read.field); }

std::string placeOf(const BitsReading& read) { return read.range.addressText() + read.bits.text(); }

std::string format(const RegisterChange& change) { return placeText(change.reading) + ' ' + bareText(change.reading); }

std::string format(const IoctlResult& result) { return std::to_string(result.result); }

std::string format(const InterruptType& interrupt) { return std::to_string(interrupt.type); }

std::string format(const InterruptState& /*interrupt*/) { return ""; }

std::string format(const InterruptEvent& interrupt) { return std::to_string(interrupt.word); }

std::string format(const RoundTrips& trips) {
    return inMilliseconds(trips.shortest()) + ' ' + inMilliseconds(trips.mean()) + ' ' +
           inMilliseconds(trips.longest());
}

std::string format(const SavedRegisters& /*saved*/) { return ""; }

std::string format(const RegisterDifference& /*difference*/) { return ""; }

std::string format(const RestoredRegister& /*restored*/) { return ""; }

std::string format(const SkippedRegisters& /*skipped*/) { return ""; }

std::string format(const MapReport& report) { return formatBare(report); }

} // namespace

std::string placeText(const Reading& reading) {
    return std::visit([](const auto& read) { return placeOf(read); }, reading);
}

std::string bareText(const Reading& reading) {
    return std::visit([](const auto& read) { return format(read); }, reading);
}

std::string formatBare(const Report& report) {
    return std::visit([](const auto& value) { return format(value); }, report);
}

} // namespace Rynvelctl
