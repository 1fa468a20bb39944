// SPDX-License-Identifier: MIT
#include "Json.h"

#include "Numbers.h"

namespace Rynvelctl {

namespace {

std::string escaped(char character) {
    if (character == '"' || character == '\\') {
        return {'\\', character};
    }
    const auto code = static_cast<unsigned char>(character);
    return code < 0x20 ? "\\u" + hexadecimalDigits(code, 16) : std::string(1, character);
}

void append(std::string& list, const std::string& item) {
    if (!list.empty()) {
        list += ',';
    }
    list += item;
}

} // namespace

JsonObject& JsonObject::add(const char* name, const std::string& value) { return addJson(name, jsonString(value)); }

JsonObject& JsonObject::add(const char* name, std::uint64_t value) { return addJson(name, std::to_string(value)); }

JsonObject& JsonObject::add(const char* name, std::optional<std::uint32_t> value) {
    return addJson(name, value ? std::to_string(*value) : "null");
}

JsonObject& JsonObject::addFlag(const char* name, std::optional<bool> value) {
    if (!value) {
        return addJson(name, "null");
    }
    return addJson(name, *value ? "true" : "false");
}

JsonObject& JsonObject::addJson(const char* name, const std::string& value) {
    append(m_members, jsonString(name) + ':' + value);
    return *this;
}

std::string jsonArray(const std::vector<std::string>& values) {
    std::string list;
    for (const std::string& value : values) {
        append(list, value);
    }
    return '[' + list + ']';
}

std::string jsonString(const std::string& text) {
    std::string result = "\"";
    for (const char character : text) {
        result += escaped(character);
    }
    return result + '"';
}

} // namespace Rynvelctl
