// SPDX-License-Identifier: MIT
#include "DeviceSnapshot.h"

#include <unordered_set>

#include "FieldWrite.h"
#include "NumberArguments.h"
#include "ProgressBar.h"
#include "TimeText.h"

namespace Rynvelctl {

namespace {

SnapshotMap mapOf(const Maps::DevicePeripheral& description) {
    return {description.file, description.map->name, description.map->version};
}

std::uint32_t offsetOf(const AddressedRegister& mapped) { return static_cast<std::uint32_t>(mapped.located.offset); }

SavedRegister readRegister(OpenDevice& device, const AddressedRegister& mapped) {
    const std::uint32_t word = device.read(mapped.range);
    return {mapped.name(), offsetOf(mapped), mapped.contents().size,
            word & static_cast<std::uint32_t>(Maps::bitsOf(mapped.contents()))};
}

constexpr const char* leftOutMark = "left out: ";

std::string leftOut(const RegisterMap& map, const std::string& problem) {
    return map.device().name() + ": " + leftOutMark + problem;
}

} // namespace

DeviceSnapshot takeSnapshot(const RegisterMap& map, OpenDevice& device, SideEffects sideEffects) {
    DeviceSnapshot taken{
        {map.device().name(), mapOf(map.description()), timeStamp(), {}}, {}, map.inaccessible(leftOutMark)};
    std::unordered_set<std::string> names;
    const std::vector<AddressedRegister> registers = map.registers();
    ProgressBar bar(map.device().name(), registers.size());
    for (const AddressedRegister& mapped : registers) {
        bar.advance();
        const bool isFirst = names.insert(mapped.name()).second;
        if (!Maps::isReadable(mapped.contents())) {
            continue;
        }
        if (!isFirst) {
            taken.obstacles.push_back(leftOut(map, "register " + mapped.name() + " at " +
                                                       hexadecimal(offsetOf(mapped)) +
                                                       " has the same name as a register with a lower offset"));
        } else if (!mapped.range.isInside(device.mapSize())) {
            taken.obstacles.push_back(leftOut(map, "register " + mapped.name() + " is outside the map of the device"));
        } else if (sideEffects == SideEffects::LeftOut && mapped.word.hasReadSideEffect) {
            taken.withSideEffects.push_back(mapped.name());
        } else {
            taken.snapshot.registers.push_back(readRegister(device, mapped));
        }
    }
    return taken;
}

} // namespace Rynvelctl
