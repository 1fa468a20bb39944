/* SPDX-License-Identifier: MIT */
/**
 * @file
 * JSON text.
 */
#ifndef RYNVELCTL_JSON_H
#define RYNVELCTL_JSON_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace Rynvelctl {

/** A JSON object that the caller builds member by member. */
class JsonObject {
public:
    JsonObject& add(const char* name, const std::string& value);
    JsonObject& add(const char* name, std::uint64_t value);
    /** Adds null if there is no value. */
    JsonObject& add(const char* name, std::optional<std::uint32_t> value);
    /** Adds null if there is no value. */
    JsonObject& addFlag(const char* name, std::optional<bool> value);
    /** Adds a value that is JSON text. */
    JsonObject& addJson(const char* name, const std::string& value);

    std::string text() const { return '{' + m_members + '}'; }

private:
    std::string m_members;
};

/** Returns an array of values that are JSON text. */
std::string jsonArray(const std::vector<std::string>& values);

/**
 * Returns a JSON string with its quotes. Escapes quotes, backslashes and the characters that control a terminal. All
 * other bytes stay unchanged.
 */
std::string jsonString(const std::string& text);

} // namespace Rynvelctl

#endif
