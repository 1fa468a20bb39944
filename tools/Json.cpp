// SPDX-License-Identifier: MIT
#include "Json.h"

#include <string_view>

#include "NumberArguments.h"
#include "Printable.h"

namespace Rynvelctl {

namespace {

/** Returns a character as it appears in a JSON string. @param text the bytes of the character. */
std::string escaped(const Character& character, std::string_view text) {
    if (text == "\"" || text == "\\") {
        return '\\' + std::string(text);
    }
    return character.isControl() ? "\\u" + hexadecimalDigits(character.code, 16) : std::string(text);
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
    for (std::string_view rest = text; !rest.empty();) {
        const Character character = firstCharacter(rest);
        result += escaped(character, rest.substr(0, character.size));
        rest.remove_prefix(character.size);
    }
    return result + '"';
}

} // namespace Rynvelctl
