// SPDX-License-Identifier: MIT
#include "Count.h"
#include "FieldText.h"
#include "Formats.h"
#include "Numbers.h"
#include "TextTable.h"

namespace Rynvelctl {

namespace {

constexpr std::size_t bitsPerLine = 128;

std::string fileState(const ListedDevice& device) {
    if (!device.isPresent) {
        return "remote";
    }
    return *device.isPresent ? "present" : "missing";
}

std::string assignment(const RegisterRange& range, std::uint32_t value) {
    return range.device().name() + ' ' + range.addressText() + " = " + hexadecimal(value, range.bits());
}

std::string shownValue(const RegisterValue& read) { return hexadecimal(read.value, read.range.bits()); }

std::string shownValue(const FieldReading& read) { return textOf(read.field); }

std::string shownValue(const BitsReading& read) { return read.valueText(); }

std::string assignment(const RegisterRange& range, const Maps::FieldValue& value) {
    return range.device().name() + ' ' + pathOf(range, value) + " = " + textOf(value);
}

std::string assignment(const RegisterValue& read) { return assignment(read.range, read.value); }

std::string assignment(const FieldReading& read) { return assignment(read.range, read.field); }

std::string assignment(const BitsReading& read) {
    return read.range.device().name() + ' ' + read.range.addressText() + read.bits.text() + " = " + read.valueText();
}

std::string format(const DeviceList& devices) {
    std::vector<std::vector<std::string>> rows{{"NAME", "HANDLE", "PATH", "TYPE", "WIDTH", "FILE"}};
    for (const ListedDevice& device : devices) {
        rows.push_back({device.name, std::to_string(device.handle), device.path, device.type,
                        std::to_string(device.width), fileState(device)});
    }
    return TextTable(rows).text();
}

std::string format(const DeviceInfo& info) {
    return TextTable({{"name:", info.name},
                      {"path:", info.path},
                      {"type:", info.type},
                      {"width:", std::to_string(info.width)},
                      {"map size:", orNone(info.mapSize)},
                      {"interrupt type:", orNone(info.interruptType)},
                      {"descriptor:", orNone(info.descriptor)}})
        .text();
}

/** Joins two texts of lines, each of which may be empty. */
std::string joinTexts(const std::string& first, const std::string& second) {
    return first.empty() || second.empty() ? first + second : first + '\n' + second;
}

std::string format(const RegisterValue& read) {
    AssignmentLines lines;
    for (const Maps::FieldValue& field : read.fields) {
        lines.add("  " + labelOf(*field.field), textOf(field));
    }
    return joinTexts(assignment(read), lines.text());
}

std::string format(const FieldReading& read) { return assignment(read); }

std::string format(const BitsReading& read) { return assignment(read); }

void add(AssignmentLines& lines, const ListedRegister& listed) {
    const std::string address = hexadecimal(listed.range.address()) + "  ";
    if (!listed.value) {
        lines.addNote(address + listed.range.name(), "not read, because reading has a side effect");
        return;
    }
    lines.add(address + listed.range.name(), hexadecimal(*listed.value, listed.range.bits()));
    for (const Maps::FieldValue& field : listed.fields) {
        lines.add(std::string(address.size() + 2, ' ') + labelOf(*field.field), textOf(field));
    }
}

std::string format(const RegisterListing& listing) {
    AssignmentLines lines;
    for (const ListedRegister& listed : listing.registers) {
        add(lines, listed);
    }
    return joinTexts(lines.text(), joinLines(listing.inaccessible));
}

std::string format(const WrittenValue& written) {
    if (!written.fields.empty()) {
        std::vector<std::string> lines;
        for (const Maps::FieldValue& field : written.fields) {
            lines.push_back(assignment(written.range, field));
        }
        return joinLines(lines);
    }
    const std::string text = assignment(written.range, written.value);
    return written.mask ? text + " with mask " + hexadecimal(*written.mask, written.range.bits()) : text;
}

std::string format(const FilledRange& filled) {
    return assignment(filled.range, filled.value) + " in " + Common::counted(filled.range.count(), "register");
}

std::string format(const RegisterDump& dump) {
    const unsigned int width = dump.range.device().width();
    std::vector<std::string> lines;
    for (std::size_t i = 0; i < dump.values.size(); ++i) {
        if (i % (bitsPerLine / width) == 0) {
            lines.push_back(dump.range[static_cast<std::uint32_t>(i)].addressText() + ':');
        }
        lines.back() += ' ' + hexadecimalDigits(dump.values[i], width);
    }
    return joinLines(lines);
}

std::string format(const RegisterChange& change) {
    return change.time + ' ' + std::visit([](const auto& read) { return assignment(read); }, change.reading);
}

std::string format(const IoctlResult& result) {
    return result.device + " request " + hexadecimal(result.request) + " = " + std::to_string(result.result);
}

std::string format(const InterruptType& interrupt) {
    return interrupt.device + " interrupt type = " + std::to_string(interrupt.type);
}

std::string format(const InterruptState& interrupt) { return interrupt.device + " interrupt " + interrupt.state; }

std::string format(const InterruptEvent& interrupt) {
    return interrupt.time + ' ' + interrupt.device + " interrupt, word " + std::to_string(interrupt.word);
}

std::string format(const RoundTrips& trips) {
    return trips.server + ": " + Common::counted(trips.times.size(), "round trip") + ", min " +
           inMilliseconds(trips.shortest()) + " ms, avg " + inMilliseconds(trips.mean()) + " ms, max " +
           inMilliseconds(trips.longest()) + " ms";
}

std::string format(const SavedRegisters& saved) {
    return saved.device + ": saved " + Common::counted(saved.count, "register") + " in " + saved.file;
}

std::string change(const std::string& before, const std::string& after) { return ": " + before + " -> " + after; }

std::string format(const RegisterDifference& difference) {
    const unsigned int size = difference.size;
    if (!difference.first || !difference.second) {
        const std::uint32_t value = difference.first ? *difference.first : *difference.second;
        return difference.name + ": only in " + difference.source + " (" + hexadecimal(difference.offset) + " = " +
               hexadecimal(value, size) + ')';
    }
    std::vector<std::string> lines{difference.name +
                                   change(hexadecimal(*difference.first, size), hexadecimal(*difference.second, size))};
    for (const FieldDifference& field : difference.fields) {
        lines.push_back(difference.name + '.' + field.first.field->name +
                        change(textOf(field.first), textOf(field.second)));
    }
    return joinLines(lines);
}

std::string format(const RestoredRegister& restored) {
    return restored.range.device().name() + ' ' + restored.range.addressText() +
           change(hexadecimal(restored.before, restored.size), hexadecimal(restored.after, restored.size)) +
           (restored.isWritten ? "" : " (not written)");
}

std::string format(const SkippedRegisters& skipped) {
    return skipped.device + ": not restored, " + skipped.reason + ": " + joinNames(skipped.names);
}

std::string format(const MapReport& report) { return formatText(report); }

} // namespace

std::string valueText(const Reading& reading) {
    return std::visit([](const auto& read) { return shownValue(read); }, reading);
}

std::string formatText(const Report& report) {
    return std::visit([](const auto& value) { return format(value); }, report);
}

} // namespace Rynvelctl
