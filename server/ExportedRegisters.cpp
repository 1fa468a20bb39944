// SPDX-License-Identifier: MIT
#include "ExportedRegisters.h"

#include <algorithm>
#include <exception>
#include <stdexcept>

#include "DeviceList.h"
#include "DeviceRegisters.h"
#include "DeviceTypeInfo.h"
#include "FieldValues.h"
#include "NearestName.h"
#include "RegisterName.h"
#include "RegisterWord.h"

namespace Rynveld {

namespace {

[[noreturn]] void refuseExport(const std::string& message) { throw std::invalid_argument("--export: " + message); }

/** A device, and the name of a register or field in the register map of the device. */
struct NameInDevice {
    const Rynvel::MemoryDevice* row;
    std::string name;
};

/** Returns the beginnings of a name that end before a dot, the shortest first. */
std::vector<std::string> beginningsOf(const std::string& text) {
    std::vector<std::string> beginnings;
    for (auto dot = text.find('.'); dot != std::string::npos; dot = text.find('.', dot + 1)) {
        beginnings.push_back(text.substr(0, dot));
    }
    return beginnings;
}

[[noreturn]] void refuseUnknownDevice(const std::string& text) {
    std::vector<std::string> names;
    for (const auto& row : Common::devices()) {
        names.push_back(row.m_name);
    }
    std::vector<std::string> similar;
    for (const std::string& beginning : beginningsOf(text)) {
        for (const std::string& name : Common::nearestNames(beginning, names)) {
            similar.push_back(name);
        }
    }
    const std::string question = Common::didYouMean(similar);
    refuseExport("'" + text + "' does not begin with the name of a device and a dot (" +
                 (question.empty() ? "'rynvelctl list' shows all names" : question) + ')');
}

/** Returns the parts of a name. A device name may contain dots, so the longest matching device name has precedence. */
NameInDevice split(const std::string& text) {
    const auto beginnings = beginningsOf(text);
    for (auto beginning = beginnings.rbegin(); beginning != beginnings.rend(); ++beginning) {
        if (const auto* const row = Common::findDevice(*beginning)) {
            return {row, text.substr(beginning->size() + 1)};
        }
    }
    refuseUnknownDevice(text);
}

void requireServed(const Policy& policy, const Rynvel::MemoryDevice& row) {
    const std::string device = row.m_name;
    if (servableType(row) == nullptr) {
        refuseExport("device '" + device + "' is remote (rynveld serves only devices of its own machine)");
    }
    if (!isServed(policy, row)) {
        refuseExport("device '" + device + "' is not served (add --device " + device + ")");
    }
}

Maps::DevicePeripheral descriptionOf(const std::string& device, Maps::MapCatalog& catalog) {
    const auto description = catalog.find(device);
    if (!description) {
        refuseExport("no register map describes device '" + device + "' (give the path of a register map with --map)");
    }
    Maps::requireByteAddresses(*description);
    return *description;
}

Maps::NamedRegister findNamed(const NameInDevice& name, const Maps::DevicePeripheral& description) {
    const auto found = Maps::findRegister(*description.peripheral, name.name);
    if (!found) {
        const std::string device = name.row->m_name;
        const std::string question = Common::didYouMean(Maps::namesLike(*description.peripheral, name.name));
        refuseExport(device + ": '" + name.name + "' is not a name in " + description.file + " (" +
                     (question.empty() ? "'rynvelctl describe " + device + "' shows the names" : question) + ')');
    }
    return *found;
}

/** Returns why metrics cannot contain a register or field; empty if they can. */
std::string obstacleTo(const Maps::NamedRegister& named, const Maps::DeviceRegisters& registers) {
    const Maps::LocatedRegister& located = named.located;
    std::string obstacle = registers.obstacleTo(located);
    if (!obstacle.empty()) {
        return obstacle;
    }
    if (named.field != nullptr && !Maps::isInside(*named.field, *located.contents)) {
        return Maps::nameWithKind(located, *named.field) + " is outside its register";
    }
    if (named.field != nullptr && !Maps::isReadable(named.field->access)) {
        return Maps::nameWithKind(located, *named.field) + " is write-only";
    }
    if (!Maps::isReadable(*located.contents)) {
        return Maps::nameWithKind(located) + " is write-only";
    }
    return registers.wordOf(located).hasReadSideEffect
               ? "reading " + Maps::nameWithKind(located) +
                     " has a side effect (the server reads an exported register repeatedly)"
               : "";
}

/** Returns the element of `exported` for a register of a device. Adds the element first if necessary. */
ExportedRegister& registerIn(std::vector<ExportedRegister>& exported, const Rynvel::MemoryDevice& row,
                             const Maps::LocatedRegister& located) {
    const auto found = std::find_if(exported.begin(), exported.end(), [&](const ExportedRegister& each) {
        return each.device == row.m_name && each.name == located.name;
    });
    if (found != exported.end()) {
        return *found;
    }
    const Common::DeviceTypeInfo& type = *servableType(row);
    const auto index = static_cast<std::uint32_t>(located.offset / Common::bytesOf(type.width));
    exported.push_back({row.m_name,
                        located.name,
                        index * type.addressStride,
                        static_cast<std::uint32_t>(Maps::bitsOf(*located.contents)),
                        false,
                        {}});
    return exported.back();
}

void addField(ExportedRegister& exported, const Maps::Field& field) {
    const auto isSame = [&](const Maps::Field& each) { return each.name == field.name; };
    if (std::none_of(exported.fields.begin(), exported.fields.end(), isSame)) {
        exported.fields.push_back(field);
    }
}

void addExport(std::vector<ExportedRegister>& exported, const NameInDevice& name, Maps::MapCatalog& catalog) {
    const auto description = descriptionOf(name.row->m_name, catalog);
    const Maps::NamedRegister named = findNamed(name, description);
    const Maps::DeviceRegisters registers(*description.peripheral, servableType(*name.row)->width);
    if (const std::string obstacle = obstacleTo(named, registers); !obstacle.empty()) {
        refuseExport(std::string(name.row->m_name) + ": " + obstacle);
    }
    ExportedRegister& whole = registerIn(exported, *name.row, named.located);
    if (named.field == nullptr) {
        whole.isWholeExported = true;
    } else {
        addField(whole, *named.field);
    }
}

} // namespace

std::vector<ExportedRegister> findExportedRegisters(const std::vector<std::string>& names, Maps::MapCatalog& catalog,
                                                    const Policy& policy) {
    std::vector<ExportedRegister> exported;
    for (const std::string& name : names) {
        const NameInDevice parts = split(name);
        requireServed(policy, *parts.row);
        addExport(exported, parts, catalog);
    }
    return exported;
}

ExportedRegisters::ExportedRegisters(const std::vector<ExportedRegister>& registers, ServedDevices& devices)
    : m_devices(devices) {
    for (const auto& exported : registers) {
        m_entries.push_back({exported, 0, 0, {}, std::nullopt});
    }
}

void ExportedRegisters::writeTo(MetricText& text, Time now) {
    for (Entry& entry : m_entries) {
        if (entry.reads == 0 || now - entry.lastRead >= period) {
            entry.lastRead = now;
            read(entry);
        }
    }
    text.addMetric("rynveld_register_value", MetricText::Type::Gauge, "Values of registers and of their fields.");
    for (const auto& [exported, reads, failures, lastRead, value] : m_entries) {
        if (value && exported.isWholeExported) {
            text.add({{"device", exported.device}, {"register", exported.name}}, *value & exported.bits);
        }
        for (std::size_t i = 0; value && i < exported.fields.size(); ++i) {
            const Maps::Field& field = exported.fields[i];
            text.add({{"device", exported.device}, {"register", exported.name}, {"field", field.name}},
                     Maps::decode(field, *value).value);
        }
    }
    text.addMetric("rynveld_register_reads_total", MetricText::Type::Counter,
                   "Reads of registers for metrics, including failed ones.");
    writeCount(text, &Entry::reads);
    text.addMetric("rynveld_failed_register_reads_total", MetricText::Type::Counter,
                   "Failed reads of registers for metrics.");
    writeCount(text, &Entry::failures);
}

void ExportedRegisters::read(Entry& entry) {
    ++entry.reads;
    entry.value.reset();
    try {
        entry.value = valueOf(entry.exported);
    } catch (const std::exception&) {
        // For example, memory is exhausted. The exception counts as a failed read of the register.
    }
    entry.failures += entry.value ? 0U : 1U;
}

std::optional<std::uint32_t> ExportedRegisters::valueOf(const ExportedRegister& exported) {
    std::string reason;
    const auto device = m_devices.open(exported.device, reason);
    std::uint32_t value = 0;
    if (!device) {
        return std::nullopt;
    }
    const Common::AccessResult result = device->registers().read(exported.address, value);
    if (result == Common::AccessResult::BusError) {
        count(device->counts().busErrors);
    }
    return result == Common::AccessResult::Success ? std::optional<std::uint32_t>(value) : std::nullopt;
}

void ExportedRegisters::writeCount(MetricText& text, std::uint64_t Entry::*number) const {
    for (const Entry& entry : m_entries) {
        text.add({{"device", entry.exported.device}, {"register", entry.exported.name}}, entry.*number);
    }
}

} // namespace Rynveld
