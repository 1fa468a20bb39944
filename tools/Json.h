/**
 * @file
 * Texts in JSON.
 */
#ifndef RYNVELCTL_JSON_H
#define RYNVELCTL_JSON_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace Rynvelctl {

/** An object, member by member. */
class JsonObject {
public:
    JsonObject& add(const char* name, const std::string& value);
    JsonObject& add(const char* name, std::uint64_t value);
    /** Nothing becomes null. */
    JsonObject& add(const char* name, std::optional<std::uint32_t> value);
    /** Nothing becomes null. */
    JsonObject& addFlag(const char* name, std::optional<bool> value);
    /** A value that is in JSON already. */
    JsonObject& addJson(const char* name, const std::string& value);

    std::string text() const { return '{' + m_members + '}'; }

private:
    std::string m_members;
};

/** An array of values that are in JSON already. */
std::string jsonArray(const std::vector<std::string>& values);

/** A string in quotes. Bytes that are no ASCII go through as they are. */
std::string jsonString(const std::string& text);

} // namespace Rynvelctl

#endif
