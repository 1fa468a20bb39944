// SPDX-License-Identifier: MIT
#include "Count.h"
#include "FieldText.h"
#include "Formats.h"
#include "NumberArguments.h"
#include "TextTable.h"

namespace Rynvelctl {

namespace {

constexpr std::size_t bitsPerLine = 128;
constexpr std::size_t bitsPerBinaryLine = 32;

std::string fileState(const ListedDevice& device) {
    if (!device.isPresent) {
        return "remote";
    }
    return *device.isPresent ? "present" : "missing";
}

std::string shownValue(const RegisterValue& read, GivenBase base) {
    return registerText(read.value, read.range.bits(), base);
}

std::string shownValue(const FieldReading& read, GivenBase base) { return textOf(read.field, base); }

std::string shownValue(const BitsReading& read, GivenBase base) { return read.valueText(base); }

std::string assignment(const Reading& reading, GivenBase base) {
    return rangeOf(reading).device().name() + ' ' + nameText(reading) + " = " + valueText(reading, base);
}

std::string textFor(const DeviceList& devices) {
    std::vector<std::vector<std::string>> rows{{"NAME", "HANDLE", "PATH", "TYPE", "WIDTH", "FILE"}};
    for (const ListedDevice& device : devices) {
        rows.push_back({device.name, std::to_string(device.handle), device.path, device.type,
                        std::to_string(device.width), fileState(device)});
    }
    return TextTable(rows).text();
}

std::string stateOf(const ServedDevice& device) {
    if (device.obstacle.empty()) {
        return "served";
    }
    return (device.isAsked ? "refused (" : "not asked (") + device.obstacle + ')';
}

std::string textFor(const ServedDevices& devices) {
    std::vector<std::vector<std::string>> rows{{"NAME", "TYPE", "WIDTH", "SERVER"}};
    for (const ServedDevice& device : devices) {
        rows.push_back({device.name, device.type, std::to_string(device.width), stateOf(device)});
    }
    return TextTable(rows).text();
}

std::string textFor(const DeviceInfo& info) {
    return TextTable({{"name:", info.name},
                      {"path:", info.path},
                      {"type:", info.type},
                      {"width:", std::to_string(info.width)},
                      {"map size:", orNone(info.mapSize)},
                      {"interrupt type:", orNone(info.interruptType)},
                      {"descriptor:", orNone(info.descriptor)}})
        .text();
}

/** Joins the lines of two texts. Each text may be empty. */
std::string joinTexts(const std::string& first, const std::string& second) {
    return first.empty() || second.empty() ? first + second : first + '\n' + second;
}

std::string textFor(const RegisterValue& read, GivenBase base) {
    AssignmentLines lines;
    for (const Maps::FieldValue& field : read.fields) {
        lines.add("  " + labelOf(*field.field), textOf(field, base));
    }
    return joinTexts(assignment(read, base), lines.text());
}

std::string textFor(const FieldReading& read, GivenBase base) { return assignment(read, base); }

std::string textFor(const BitsReading& read, GivenBase base) { return assignment(read, base); }

void add(AssignmentLines& lines, const ListedRegister& listed, GivenBase base) {
    const std::string address = hexadecimal(listed.range.address()) + "  ";
    if (!listed.value) {
        lines.addNote(address + listed.range.name(), "not read, because reading has a side effect");
        return;
    }
    lines.add(address + listed.range.name(), registerText(*listed.value, listed.range.bits(), base));
    for (const Maps::FieldValue& field : listed.fields) {
        lines.add(std::string(address.size() + 2, ' ') + labelOf(*field.field), textOf(field, base));
    }
}

std::string textFor(const RegisterListing& listing, GivenBase base) {
    AssignmentLines lines;
    for (const ListedRegister& listed : listing.registers) {
        add(lines, listed, base);
    }
    return joinTexts(lines.text(), joinLines(listing.inaccessible));
}

std::string textFor(const WrittenValue& written, GivenBase base) {
    if (!written.fields.empty()) {
        std::vector<std::string> lines;
        for (const Maps::FieldValue& field : written.fields) {
            lines.push_back(assignment(FieldReading{written.range, field}, base));
        }
        return joinLines(lines);
    }
    const std::string text = assignment(RegisterValue{written.range, written.value, {}}, base);
    return written.mask ? text + " with mask " + registerText(*written.mask, written.range.bits(), base) : text;
}

std::string textFor(const FilledRange& filled, GivenBase base) {
    return assignment(RegisterValue{filled.range, filled.value, {}}, base) + " in " +
           Common::counted(filled.range.count(), "register");
}

std::string textFor(const LoadedRange& loaded) {
    return loaded.range.device().name() + ": wrote " + Common::counted(loaded.bytes(), "byte") + " to " +
           Common::counted(loaded.range.count(), "register") + " from " + loaded.range.addressText();
}

std::string textFor(const RegisterDump& dump, GivenBase base) {
    const unsigned int width = dump.range.device().width();
    const std::size_t perLine = (base == NumberBase::Binary ? bitsPerBinaryLine : bitsPerLine) / width;
    std::vector<std::string> lines;
    for (std::size_t i = 0; i < dump.values.size(); ++i) {
        if (i % perLine == 0) {
            lines.push_back(dump.range[static_cast<std::uint32_t>(i)].addressText() + ':');
        }
        lines.back() += ' ' + registerColumn(dump.values[i], width, base);
    }
    return joinLines(lines);
}

std::string textFor(const RegisterChange& change, GivenBase base) {
    return change.time + ' ' + assignment(change.reading, base);
}

std::string textFor(const IoctlResult& result) {
    return result.device + " request " + hexadecimal(result.request) + " = " + std::to_string(result.result);
}

std::string textFor(const InterruptType& interrupt) {
    return interrupt.device + " interrupt type = " + std::to_string(interrupt.type);
}

std::string textFor(const InterruptState& interrupt) { return interrupt.device + " interrupt " + interrupt.state; }

std::string textFor(const InterruptEvent& interrupt) {
    return interrupt.time + ' ' + interrupt.device + " interrupt, word " + std::to_string(interrupt.word);
}

std::string textFor(const RoundTrips& trips) {
    return trips.server + ": " + Common::counted(trips.times.size(), "round trip") + ", min " +
           inMilliseconds(trips.shortest()) + " ms, avg " + inMilliseconds(trips.mean()) + " ms, max " +
           inMilliseconds(trips.longest()) + " ms";
}

std::string textFor(const SavedRegisters& saved) {
    return saved.device + ": saved " + Common::counted(saved.count, "register") + " in " + saved.file;
}

std::string change(const std::string& before, const std::string& after) { return ": " + before + " -> " + after; }

std::string textFor(const RegisterDifference& difference, GivenBase base) {
    const unsigned int size = difference.size;
    if (!difference.first || !difference.second) {
        const std::uint32_t value = difference.first ? *difference.first : *difference.second;
        return difference.name + ": only in " + difference.source + " (" + hexadecimal(difference.offset) + " = " +
               registerText(value, size, base) + ')';
    }
    std::vector<std::string> lines{difference.name + change(registerText(*difference.first, size, base),
                                                            registerText(*difference.second, size, base))};
    for (const FieldDifference& field : difference.fields) {
        lines.push_back(difference.name + '.' + field.first.field->name +
                        change(textOf(field.first, base), textOf(field.second, base)));
    }
    return joinLines(lines);
}

std::string textFor(const RestoredRegister& restored, GivenBase base) {
    return restored.range.device().name() + ' ' + restored.range.addressText() +
           change(registerText(restored.before, restored.size, base),
                  registerText(restored.after, restored.size, base)) +
           (restored.isWritten ? "" : " (not written)");
}

std::string textFor(const SkippedRegisters& skipped) {
    return skipped.device + ": not restored, " + skipped.reason + ": " + joinNames(skipped.names);
}

std::string textFor(const MapReport& report) { return formatText(report); }

} // namespace

std::string valueText(const Reading& reading, GivenBase base) {
    return std::visit([base](const auto& read) { return shownValue(read, base); }, reading);
}

std::string formatText(const Report& report, GivenBase base) {
    return std::visit(
        [base](const auto& value) {
            if constexpr (hasBase<std::decay_t<decltype(value)>>) {
                return textFor(value, base);
            } else {
                return textFor(value);
            }
        },
        report);
}

} // namespace Rynvelctl
