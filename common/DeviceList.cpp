// SPDX-License-Identifier: MIT
#include "DeviceList.h"

#include <algorithm>

#include "DeviceTypeInfo.h"

namespace Common {

namespace {

std::string nameOf(Rynvel::DeviceType type) {
    const DeviceTypeInfo* const info = findDeviceTypeInfo(type);
    return info == nullptr ? std::to_string(static_cast<std::uint32_t>(type)) : info->name;
}

/** Returns the name of the parameter of a row, for messages. */
const char* parameterName(Rynvel::DeviceType type) {
    const DeviceTypeInfo* const info = findDeviceTypeInfo(type);
    switch (info == nullptr ? AccessMethod::Remote : info->access) {
    case AccessMethod::Mapped:
        return "size";
    case AccessMethod::Spi:
        return "offset";
    default:
        return "parameter";
    }
}

std::string quoted(const std::string& text) { return '\'' + text + '\''; }

/** Collects the differences between two rows, as text. */
class Differences {
public:
    void compare(const std::string& field, const std::string& theirs, const std::string& ours) {
        if (theirs != ours) {
            m_text += (m_text.empty() ? "" : ", ") + field + " " + theirs + " instead of " + ours;
        }
    }

    const std::string& text() const { return m_text; }

private:
    std::string m_text;
};

std::string differences(const Rynvel::MemoryDevice& theirs, const Rynvel::MemoryDevice& ours,
                        std::optional<std::size_t> handle) {
    Differences found;
    found.compare("name", quoted(theirs.m_name), quoted(ours.m_name));
    found.compare("type", nameOf(theirs.m_type), nameOf(ours.m_type));
    found.compare("path", quoted(theirs.m_devicePath), quoted(ours.m_devicePath));
    found.compare(parameterName(ours.m_type), std::to_string(theirs.m_parameter), std::to_string(ours.m_parameter));
    if (handle) {
        const int theirHandle = Rynvel::Factory::getInstance().findMemoryDeviceIndex(ours.m_name);
        found.compare("handle", std::to_string(theirHandle), std::to_string(*handle));
    }
    return found.text();
}

constexpr const char* mismatchHint = " (install the librynvel that was built with this program)";

} // namespace

const std::vector<Rynvel::MemoryDevice>& devices() {
    using Rynvel::DeviceType;
    using Rynvel::MemoryDevice;
    static const std::vector<MemoryDevice> rows = {
#include RYNVEL_DEVICE_ROWS
    };
    return rows;
}

std::string describeMismatch(const Rynvel::MemoryDevice& row, std::optional<std::size_t> handle) {
    const Rynvel::MemoryDevice* const theirs = Rynvel::Factory::getInstance().findMemoryDevice(row.m_name);
    const std::string text = theirs == nullptr ? "the device is missing" : differences(*theirs, row, handle);
    return text.empty() ? "" : row.m_name + ": librynvel has a different device table: " + text + mismatchHint;
}

const Rynvel::MemoryDevice* findDevice(const std::string& name) {
    const auto& rows = devices();
    const auto row = std::find_if(rows.begin(), rows.end(), [&](const auto& device) { return device.m_name == name; });
    if (row == rows.end()) {
        return nullptr;
    }
    if (const std::string problem = describeMismatch(*row); !problem.empty()) {
        throw DeviceTableMismatch(problem);
    }
    return &*row;
}

} // namespace Common
