// SPDX-License-Identifier: MIT
#include "Snapshot.h"

#include <algorithm>
#include <system_error>
#include <unordered_map>

#include "DeviceName.h"
#include "Diagnostics.h"
#include "Failure.h"
#include "InputFile.h"
#include "Json.h"
#include "JsonReader.h"
#include "RegisterWord.h"
#include "TextEncoding.h"
#include "TimeText.h"

namespace Rynvelctl {

namespace {

constexpr const char* formatName = "rynvel-registers";
constexpr std::uint64_t formatVersion = 1;
constexpr std::size_t maxFileSize = std::size_t{16} << 20U;

std::string quoted(const std::string& text) { return "'" + text + "'"; }

std::string registerText(const SavedRegister& saved) {
    return JsonObject()
        .add("name", saved.name)
        .add("offset", saved.offset)
        .add("size", saved.size)
        .add("value", saved.value)
        .text();
}

std::string registersText(const std::vector<SavedRegister>& registers) {
    std::string lines;
    for (const SavedRegister& saved : registers) {
        lines += (lines.empty() ? "\n" : ",\n") + registerText(saved);
    }
    return '[' + lines + (lines.empty() ? "]" : "\n]");
}

std::string mapText(const SnapshotMap& map) {
    // A file name may contain any bytes, but JSON is UTF-8.
    return JsonObject()
        .add("file", Maps::toUtf8(map.file).text)
        .add("name", map.name)
        .add("version", map.version)
        .text();
}

const char* describe(JsonValue::Kind kind) {
    switch (kind) {
    case JsonValue::Kind::WholeNumber:
        return "a whole number";
    case JsonValue::Kind::String:
        return "a string";
    case JsonValue::Kind::Array:
        return "an array";
    default:
        return "an object";
    }
}

void require(const JsonValue& value, const std::string& name, JsonValue::Kind kind) {
    if (value.kind != kind) {
        throw WrongJson(value.line, name + " is not " + describe(kind));
    }
}

/** The members of an object, all of which the caller must take. */
class Members {
public:
    /** @param name the name of the object in the messages. */
    Members(const JsonValue& object, const std::string& name) : m_object(object), m_name(name) {
        require(object, name, JsonValue::Kind::Object);
        for (const JsonValue& member : object.parts) {
            if (!m_members.emplace(member.name, &member).second) {
                throw WrongJson(member.line, name + " has two members " + quoted(member.name));
            }
        }
    }

    const JsonValue& take(const std::string& name, JsonValue::Kind kind) {
        const auto found = m_members.find(name);
        if (found == m_members.end()) {
            throw WrongJson(m_object.line, m_name + " has no member " + quoted(name));
        }
        const JsonValue& value = *found->second;
        m_members.erase(found);
        require(value, quoted(name), kind);
        return value;
    }

    std::uint32_t takeNumber(const std::string& name, std::uint32_t least, std::uint32_t most) {
        const JsonValue& value = take(name, JsonValue::Kind::WholeNumber);
        if (value.number < least || value.number > most) {
            throw WrongJson(value.line, quoted(name) + " is " + std::to_string(value.number) + ", not a number from " +
                                            std::to_string(least) + " to " + std::to_string(most));
        }
        return static_cast<std::uint32_t>(value.number);
    }

    std::string takeText(const std::string& name) { return take(name, JsonValue::Kind::String).text; }

    const JsonValue& takeName(const std::string& name) {
        const JsonValue& value = take(name, JsonValue::Kind::String);
        if (value.text.empty()) {
            throw WrongJson(value.line, quoted(value.name) + " is empty");
        }
        return value;
    }

    void requireNoMore() const {
        for (const JsonValue& member : m_object.parts) {
            if (m_members.count(member.name) != 0) {
                throw WrongJson(member.line, m_name + " has the unknown member " + quoted(member.name));
            }
        }
    }

private:
    const JsonValue& m_object;
    std::string m_name;
    /** The members that the caller has not taken. */
    std::unordered_map<std::string, const JsonValue*> m_members;
};

// Call this function before you take the other members, because another version of the format may have other members.
void takeFormat(Members& members, std::size_t line) {
    const std::string problem = "the file is not a snapshot";
    const std::string format = members.takeText("format");
    if (format != formatName) {
        throw WrongJson(line, problem + " ('format' is " + quoted(format) + " instead of " + quoted(formatName) + ")");
    }
    const std::uint64_t version = members.take("version", JsonValue::Kind::WholeNumber).number;
    if (version != formatVersion) {
        throw WrongJson(line, "version " + std::to_string(version) + " of the format is unknown (" +
                                  std::to_string(formatVersion) + " is supported)");
    }
}

std::string takeDevice(Members& members) {
    const JsonValue& device = members.takeName("device");
    if (std::any_of(device.text.begin(), device.text.end(), Common::isControlCharacter)) {
        throw WrongJson(device.line, quoted(device.name) + " contains a control character");
    }
    return device.text;
}

SnapshotMap takeMap(Members& members) {
    Members map(members.take("map", JsonValue::Kind::Object), "'map'");
    SnapshotMap result{map.takeText("file"), map.takeText("name"), map.takeText("version")};
    map.requireNoMore();
    return result;
}

std::string takeTime(Members& members) {
    const JsonValue& value = members.take("time", JsonValue::Kind::String);
    if (!isTimeStamp(value.text)) {
        throw WrongJson(value.line, "'time' is not a time in UTC such as " + timeStamp({}));
    }
    return value.text;
}

SavedRegister parseRegister(const JsonValue& value) {
    Members members(value, "the register");
    SavedRegister saved;
    saved.name = members.takeName("name").text;
    saved.offset = members.takeNumber("offset", 0, UINT32_MAX);
    saved.size = members.takeNumber("size", 1, 32);
    saved.value = members.takeNumber("value", 0, Common::maxValue(saved.size));
    members.requireNoMore();
    return saved;
}

std::vector<SavedRegister> parseRegisters(const JsonValue& list) {
    std::vector<SavedRegister> registers;
    std::unordered_map<std::string, std::size_t> lines;
    for (const JsonValue& value : list.parts) {
        registers.push_back(parseRegister(value));
        const auto [first, isNew] = lines.emplace(registers.back().name, value.line);
        if (!isNew) {
            throw WrongJson(value.line,
                            "register " + first->first + " is also in line " + std::to_string(first->second));
        }
    }
    return registers;
}

Snapshot parseFile(const std::string& contents) {
    if (contents.size() > maxFileSize) {
        throw WrongJson(0, "the file has more than " + std::to_string(maxFileSize) + " bytes");
    }
    return parseSnapshot(contents);
}

Failure wrongFile(const std::string& file, std::size_t line, const std::string& text) {
    return usageError(Maps::render(file, {Maps::Severity::Error, line, text}));
}

} // namespace

std::string snapshotText(const Snapshot& snapshot) {
    return JsonObject()
               .add("format", std::string(formatName))
               .add("version", formatVersion)
               .add("device", snapshot.device)
               .addJson("map", mapText(snapshot.map))
               .add("time", snapshot.time)
               .addJson("registers", registersText(snapshot.registers))
               .text() +
           '\n';
}

Snapshot parseSnapshot(const std::string& text) {
    const JsonValue root = parseJson(text);
    Members members(root, "the snapshot");
    takeFormat(members, root.line);
    Snapshot snapshot;
    snapshot.device = takeDevice(members);
    snapshot.map = takeMap(members);
    snapshot.time = takeTime(members);
    snapshot.registers = parseRegisters(members.take("registers", JsonValue::Kind::Array));
    members.requireNoMore();
    return snapshot;
}

std::string readableText(const Snapshot& snapshot) {
    std::string text = snapshotText(snapshot);
    try {
        parseFile(text);
    } catch (const WrongJson& error) {
        throw Failure(ExitStatus::Failed,
                      snapshot.device + ": diff and restore would refuse a snapshot of the registers: " + error.what());
    }
    return text;
}

Snapshot readSnapshot(const std::string& file, const Common::Deadline& deadline) {
    try {
        return parseFile(Common::readFile(file, maxFileSize, deadline));
    } catch (const WrongJson& error) {
        throw wrongFile(file, error.line(), error.what());
    } catch (const std::system_error& error) {
        throw usageError(file + ": " + error.code().message());
    }
}

} // namespace Rynvelctl
