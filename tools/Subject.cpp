#include "Subject.h"

#include "DeviceList.h"
#include "Failure.h"

namespace Rynvelctl {

namespace {

constexpr std::size_t longestName = std::tuple_size_v<decltype(Rynvel::RequestData::deviceName)> - 1;

Subject subjectOf(const Rynvel::MemoryDevice& row, const std::optional<Server>& server) {
    const Inventory::DeviceKind* const kind = Inventory::findKind(row.m_type);
    if (kind == nullptr) {
        throw wrongUsage(row.m_name + ": there is no backend for its type");
    }
    return {row, *kind, server};
}

unsigned int localWidth(const std::string& name) {
    const Rynvel::MemoryDevice* const row = Inventory::findDevice(name);
    if (row == nullptr) {
        throw wrongUsage("--width is needed: no device '" + name + "' is known here");
    }
    return subjectOf(*row, std::nullopt).width();
}

Rynvel::DeviceType remoteType(unsigned int width) {
    switch (width) {
    case 8:
        return Rynvel::DeviceType::Remote8;
    case 16:
        return Rynvel::DeviceType::Remote16;
    default:
        return Rynvel::DeviceType::Remote32;
    }
}

} // namespace

Subject localSubject(const std::string& name) {
    const Rynvel::MemoryDevice* const row = Inventory::findDevice(name);
    if (row == nullptr) {
        throw wrongUsage("no device '" + name + "' (rynvelctl list shows them)");
    }
    return subjectOf(*row, std::nullopt);
}

void requireNameFits(const std::string& name) {
    if (name.size() > longestName) {
        throw wrongUsage("the name '" + name + "' is longer than " + std::to_string(longestName) + " characters");
    }
}

Subject remoteSubject(const std::string& name, const Server& server, std::optional<unsigned int> width) {
    requireNameFits(name);
    return subjectOf({name, server.name(), 0, remoteType(width ? *width : localWidth(name))}, server);
}

unsigned int parseWidth(const std::string& text) {
    if (text != "8" && text != "16" && text != "32") {
        throw wrongUsage("width '" + text + "' is none of 8, 16 and 32");
    }
    return static_cast<unsigned int>(std::stoul(text));
}

} // namespace Rynvelctl
