// SPDX-License-Identifier: MIT
#include "FieldText.h"
#include "Formats.h"
#include "Printable.h"

namespace Rynvelctl {

namespace {

std::string plainFor(const DeviceList& devices) {
    std::vector<std::string> names;
    names.reserve(devices.size());
    for (const ListedDevice& device : devices) {
        names.push_back(device.name);
    }
    return joinLines(names);
}

std::string plainFor(const ServedDevices& devices) {
    std::vector<std::string> names;
    for (const ServedDevice& device : devices) {
        if (device.obstacle.empty()) {
            names.push_back(device.name);
        }
    }
    return joinLines(names);
}

std::string plainFor(const DeviceInfo& info) {
    return joinLines({info.name, info.path, info.type, std::to_string(info.width), orNone(info.mapSize),
                      orNone(info.interruptType), orNone(info.descriptor)});
}

std::string plainFor(const RegisterValue& read, GivenBase base) {
    return registerText(read.value, read.range.bits(), base);
}

std::string plainFor(const FieldReading& read, GivenBase base) { return numberOf(read.field, base); }

std::string plainFor(const BitsReading& read, GivenBase base) { return read.valueText(base); }

std::string plainFor(const RegisterListing& listing, GivenBase base) {
    std::vector<std::string> lines;
    for (const ListedRegister& listed : listing.registers) {
        if (listed.value) {
            lines.push_back(printable(listed.range.name()) + ' ' +
                            registerText(*listed.value, listed.range.bits(), base));
        }
    }
    return joinLines(lines);
}

std::string plainFor(const WrittenValue& /*written*/, GivenBase /*base*/) { return ""; }

std::string plainFor(const FilledRange& /*filled*/, GivenBase /*base*/) { return ""; }

std::string plainFor(const LoadedRange& /*loaded*/) { return ""; }

std::string plainFor(const RegisterDump& dump, GivenBase base) {
    std::vector<std::string> lines;
    lines.reserve(dump.values.size());
    for (const std::uint32_t value : dump.values) {
        lines.push_back(registerText(value, dump.range.device().width(), base));
    }
    return joinLines(lines);
}

std::string nameOf(const RegisterValue& read) { return read.range.addressText(); }

std::string nameOf(const FieldReading& read) { return pathOf(read.range, read.field); }

std::string nameOf(const BitsReading& read) { return read.range.addressText() + read.bits.text(); }

std::string plainFor(const RegisterChange& change, GivenBase base) {
    return nameText(change.reading) + ' ' + plainValueText(change.reading, base);
}

std::string plainFor(const IoctlResult& result) { return std::to_string(result.result); }

std::string plainFor(const InterruptType& interrupt) { return std::to_string(interrupt.type); }

std::string plainFor(const InterruptState& /*interrupt*/) { return ""; }

std::string plainFor(const InterruptEvent& interrupt) { return std::to_string(interrupt.word); }

std::string plainFor(const RoundTrips& trips) {
    return inMilliseconds(trips.shortest()) + ' ' + inMilliseconds(trips.mean()) + ' ' +
           inMilliseconds(trips.longest());
}

std::string plainFor(const SavedRegisters& /*saved*/) { return ""; }

std::string plainFor(const RegisterDifference& /*difference*/, GivenBase /*base*/) { return ""; }

std::string plainFor(const RestoredRegister& /*restored*/, GivenBase /*base*/) { return ""; }

std::string plainFor(const SkippedRegisters& /*skipped*/) { return ""; }

std::string plainFor(const MapReport& report) { return formatValues(report); }

} // namespace

std::string nameText(const Reading& reading) {
    return printable(std::visit([](const auto& read) { return nameOf(read); }, reading));
}

std::string plainValueText(const Reading& reading, GivenBase base) {
    return std::visit([base](const auto& read) { return plainFor(read, base); }, reading);
}

std::string formatValues(const Report& report, GivenBase base) {
    return std::visit(
        [base](const auto& value) {
            if constexpr (hasBase<std::decay_t<decltype(value)>>) {
                return plainFor(value, base);
            } else {
                return plainFor(value);
            }
        },
        report);
}

} // namespace Rynvelctl
