// SPDX-License-Identifier: MIT
#include "FieldText.h"
#include "Formats.h"
#include "Json.h"
#include "RegisterOptions.h"

namespace Rynvelctl {

namespace {

JsonObject objectFor(const RegisterRange& range) {
    JsonObject object;
    object.add("name", range.device().name())
        .add(range.unit() == AddressUnit::Bytes ? "address" : "index", range.address());
    return range.name().empty() ? object : object.add("register", range.name());
}

JsonObject& addValue(JsonObject& object, const Maps::FieldValue& field) {
    object.add("value", field.value);
    const std::string meaning = meaningOf(field);
    return meaning.empty() ? object : object.add("meaning", meaning);
}

std::string jsonFields(const std::vector<Maps::FieldValue>& fields) {
    std::vector<std::string> objects;
    objects.reserve(fields.size());
    for (const Maps::FieldValue& field : fields) {
        JsonObject object;
        objects.push_back(addValue(object.add("name", field.field->name), field).text());
    }
    return jsonArray(objects);
}

JsonObject objectFor(const RegisterValue& read) {
    JsonObject object = objectFor(read.range).add("value", read.value);
    return read.range.name().empty() ? object : object.addJson("fields", jsonFields(read.fields));
}

JsonObject objectFor(const FieldReading& read) {
    JsonObject object = objectFor(read.range).add("field", read.field.field->name);
    return addValue(object, read.field);
}

JsonObject objectFor(const BitsReading& read) {
    const std::string bits = std::to_string(read.bits.msb) + ':' + std::to_string(read.bits.lsb);
    return objectFor(read.range).add("bits", bits).add("value", read.value);
}

std::string jsonFor(const ListedDevice& device) {
    return JsonObject()
        .add("name", device.name)
        .add("handle", device.handle)
        .add("path", device.path)
        .add("backend", device.type)
        .add("width", device.width)
        .addFlag("present", device.isPresent)
        .text();
}

std::string jsonFor(const DeviceList& devices) {
    std::vector<std::string> objects;
    objects.reserve(devices.size());
    for (const ListedDevice& device : devices) {
        objects.push_back(jsonFor(device));
    }
    return jsonArray(objects);
}

std::string jsonFor(const ServedDevices& devices) {
    std::vector<std::string> objects;
    objects.reserve(devices.size());
    for (const ServedDevice& device : devices) {
        JsonObject object;
        object.add("name", device.name)
            .add("backend", device.type)
            .add("width", device.width)
            .addFlag("served", device.obstacle.empty());
        if (!device.obstacle.empty()) {
            object.addFlag("asked", device.isAsked).add("reason", device.obstacle);
        }
        objects.push_back(object.text());
    }
    return jsonArray(objects);
}

std::string jsonFor(const DeviceInfo& info) {
    return JsonObject()
        .add("name", info.name)
        .add("path", info.path)
        .add("backend", info.type)
        .add("width", info.width)
        .add("mapSize", info.mapSize)
        .add("interruptType", info.interruptType)
        .add("descriptor", info.descriptor ? std::optional<std::uint32_t>(*info.descriptor) : std::nullopt)
        .text();
}

std::string jsonFor(const RegisterValue& read) { return objectFor(read).text(); }

std::string jsonFor(const FieldReading& read) { return objectFor(read).text(); }

std::string jsonFor(const BitsReading& read) { return objectFor(read).text(); }

std::string jsonFor(const ListedRegister& listed) {
    return listed.value ? jsonFor(RegisterValue{listed.range, *listed.value, listed.fields})
                        : objectFor(listed.range).add("skipped", "reading has a side effect").text();
}

std::string jsonFor(const RegisterListing& listing) {
    std::vector<std::string> lines;
    for (const ListedRegister& listed : listing.registers) {
        lines.push_back(jsonFor(listed));
    }
    for (const std::string& problem : listing.inaccessible) {
        lines.push_back(JsonObject().add("skipped", problem).text());
    }
    return joinLines(lines);
}

std::string jsonFor(const WrittenValue& written) {
    JsonObject object = objectFor(written.range).add("value", written.value);
    if (written.mask) {
        object.add("mask", *written.mask);
    }
    return written.fields.empty() ? object.text() : object.addJson("fields", jsonFields(written.fields)).text();
}

std::string jsonFor(const FilledRange& filled) {
    return objectFor(filled.range).add("count", filled.range.count()).add("value", filled.value).text();
}

std::string jsonFor(const LoadedRange& loaded) {
    return objectFor(loaded.range)
        .add("width", loaded.range.device().width())
        .add("order", orderName(loaded.order))
        .add("count", loaded.range.count())
        .add("bytes", loaded.bytes())
        .text();
}

std::string jsonFor(const RegisterDump& dump) {
    std::vector<std::string> numbers;
    numbers.reserve(dump.values.size());
    for (const std::uint32_t value : dump.values) {
        numbers.push_back(std::to_string(value));
    }
    return objectFor(dump.range)
        .add("width", dump.range.device().width())
        .add("order", orderName(dump.order))
        .addJson("values", jsonArray(numbers))
        .text();
}

std::string jsonFor(const RegisterChange& change) {
    JsonObject object = std::visit([](const auto& read) { return objectFor(read); }, change.reading);
    return object.add("time", change.time).text();
}

std::string jsonFor(const IoctlResult& result) {
    return JsonObject()
        .add("name", result.device)
        .add("request", result.request)
        .add("argument", result.argument)
        .addJson("result", std::to_string(result.result))
        .text();
}

std::string jsonFor(const InterruptType& interrupt) {
    return JsonObject().add("name", interrupt.device).add("interruptType", interrupt.type).text();
}

std::string jsonFor(const InterruptState& interrupt) {
    return JsonObject().add("name", interrupt.device).add("interrupt", interrupt.state).text();
}

std::string jsonFor(const InterruptEvent& interrupt) {
    return JsonObject().add("name", interrupt.device).add("word", interrupt.word).add("time", interrupt.time).text();
}

std::string jsonFor(const RoundTrips& trips) {
    return JsonObject()
        .add("server", trips.server)
        .add("roundTrips", trips.times.size())
        .addJson("minMilliseconds", inMilliseconds(trips.shortest()))
        .addJson("avgMilliseconds", inMilliseconds(trips.mean()))
        .addJson("maxMilliseconds", inMilliseconds(trips.longest()))
        .text();
}

std::string jsonFor(const SavedRegisters& saved) {
    return JsonObject().add("name", saved.device).add("file", saved.file).add("count", saved.count).text();
}

JsonObject& addSide(JsonObject& object, const char* name, const char* meaningName, const Maps::FieldValue& value) {
    object.add(name, value.value);
    const std::string meaning = meaningOf(value);
    return meaning.empty() ? object : object.add(meaningName, meaning);
}

std::string jsonFor(const FieldDifference& difference) {
    JsonObject object;
    object.add("name", difference.first.field->name);
    addSide(object, "first", "firstMeaning", difference.first);
    return addSide(object, "second", "secondMeaning", difference.second).text();
}

std::string jsonFor(const RegisterDifference& difference) {
    std::vector<std::string> fields;
    for (const FieldDifference& field : difference.fields) {
        fields.push_back(jsonFor(field));
    }
    return JsonObject()
        .add("name", difference.device)
        .add("address", difference.offset)
        .add("register", difference.name)
        .add("first", difference.first)
        .add("second", difference.second)
        .addJson("fields", jsonArray(fields))
        .text();
}

std::string jsonFor(const RestoredRegister& restored) {
    return objectFor(restored.range)
        .add("before", restored.before)
        .add("after", restored.after)
        .addFlag("written", restored.isWritten)
        .text();
}

std::string jsonFor(const SkippedRegisters& skipped) {
    std::vector<std::string> names;
    names.reserve(skipped.names.size());
    for (const std::string& name : skipped.names) {
        names.push_back(jsonString(name));
    }
    return JsonObject()
        .add("name", skipped.device)
        .addJson("notRestored", jsonArray(names))
        .add("reason", skipped.reason)
        .text();
}

std::string jsonFor(const MapReport& report) { return formatJson(report); }

} // namespace

std::string formatJson(const Report& report) {
    return std::visit([](const auto& value) { return jsonFor(value); }, report);
}

} // namespace Rynvelctl
