#include "DeviceList.h"

#include <algorithm>

namespace Common {

const std::vector<Rynvel::MemoryDevice>& devices() {
    using Rynvel::DeviceType;
    using Rynvel::MemoryDevice;
    static const std::vector<MemoryDevice> rows = {
#include RYNVEL_DEVICE_ROWS
    };
    return rows;
}

const Rynvel::MemoryDevice* findDevice(const std::string& name) {
    const auto& rows = devices();
    const auto row = std::find_if(rows.begin(), rows.end(), [&](const auto& device) { return device.m_name == name; });
    return row == rows.end() ? nullptr : &*row;
}

} // namespace Common
