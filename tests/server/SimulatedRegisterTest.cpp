// SPDX-License-Identifier: MIT
#include "SimulatedRegister.h"

#include <cstdint>
#include <map>
#include <optional>

#include <gtest/gtest.h>

namespace RynvelTest {
namespace {

using Maps::Access;
using Maps::ModifiedWrite;
using Maps::ReadAction;
using Rynveld::RegisterBits;
using Rynveld::SimulatedRegister;

constexpr std::uint64_t lowBytes = 0x0000FFFF;
constexpr std::uint64_t resetValue = 0x0000CCAA;
constexpr std::uint64_t data = 0x0000F0F0;

/** Returns a description of the two low bytes of a register. */
RegisterBits bitsOf(Access access, ModifiedWrite modifiedWrite = ModifiedWrite::Modify,
                    std::optional<ReadAction> readAction = std::nullopt) {
    return {lowBytes, resetValue, access, readAction, modifiedWrite};
}

TEST(SimulatedRegister, IsMemoryWithoutADescription) {
    SimulatedRegister plain({});
    EXPECT_EQ(plain.read(), 0U);
    plain.write(0x12345678);
    EXPECT_EQ(plain.read(), 0x12345678U);
    plain.write(1);
    EXPECT_EQ(plain.read(), 1U);
}

TEST(SimulatedRegister, StartsWithTheResetValueAndKeepsWhatIsWritten) {
    SimulatedRegister readWrite({bitsOf(Access::ReadWrite)});
    EXPECT_EQ(readWrite.read(), resetValue);
    readWrite.write(data);
    EXPECT_EQ(readWrite.read(), data);
}

TEST(SimulatedRegister, KeepsReadOnlyBits) {
    SimulatedRegister readOnly({bitsOf(Access::ReadOnly)});
    readOnly.write(data);
    EXPECT_EQ(readOnly.read(), resetValue);
}

TEST(SimulatedRegister, AppliesNoWriteActionToReadOnlyBits) {
    SimulatedRegister readOnly({bitsOf(Access::ReadOnly, ModifiedWrite::OneToClear)});
    readOnly.write(data);
    EXPECT_EQ(readOnly.read(), resetValue);
}

TEST(SimulatedRegister, ReadsWriteOnlyBitsAs0) {
    for (const Access access : {Access::WriteOnly, Access::WriteOnce}) {
        SimulatedRegister writeOnly({bitsOf(access)});
        EXPECT_EQ(writeOnly.read(), 0U);
        writeOnly.write(UINT32_MAX);
        EXPECT_EQ(writeOnly.read(), 0xFFFF0000U) << "the bits without a description are memory";
    }
}

TEST(SimulatedRegister, KeepsTheFirstWriteOfWriteOnceBits) {
    SimulatedRegister readWriteOnce({bitsOf(Access::ReadWriteOnce)});
    readWriteOnce.write(data);
    readWriteOnce.write(0x1234);
    EXPECT_EQ(readWriteOnce.read(), data);
}

TEST(SimulatedRegister, AcceptsOneWriteOfWriteOnceBitsWhateverTheValue) {
    SimulatedRegister readWriteOnce({bitsOf(Access::ReadWriteOnce)});
    readWriteOnce.write(resetValue);
    readWriteOnce.write(data);
    EXPECT_EQ(readWriteOnce.read(), resetValue);
}

TEST(SimulatedRegister, SupportsEveryWriteAction) {
    const std::map<ModifiedWrite, std::uint64_t> results{
        {ModifiedWrite::OneToClear, 0x0C0A},  {ModifiedWrite::OneToSet, 0xFCFA},  {ModifiedWrite::OneToToggle, 0x3C5A},
        {ModifiedWrite::ZeroToClear, 0xC0A0}, {ModifiedWrite::ZeroToSet, 0xCFAF}, {ModifiedWrite::ZeroToToggle, 0xC3A5},
        {ModifiedWrite::Clear, 0x0000},       {ModifiedWrite::Set, 0xFFFF},       {ModifiedWrite::Modify, 0xF0F0},
    };
    for (const auto& [action, result] : results) {
        SimulatedRegister aRegister({bitsOf(Access::ReadWrite, action)});
        aRegister.write(data);
        EXPECT_EQ(aRegister.read(), result) << "action " << static_cast<int>(action);
    }
}

TEST(SimulatedRegister, PerformsEveryReadActionAfterTheRead) {
    const std::map<ReadAction, std::uint64_t> results{
        {ReadAction::Clear, 0x0000},
        {ReadAction::Set, 0xFFFF},
        {ReadAction::Modify, resetValue},
        {ReadAction::ModifyExternal, resetValue},
    };
    for (const auto& [action, result] : results) {
        SimulatedRegister aRegister({bitsOf(Access::ReadOnly, ModifiedWrite::Modify, action)});
        EXPECT_EQ(aRegister.read(), resetValue) << "action " << static_cast<int>(action);
        EXPECT_EQ(aRegister.read(), result) << "action " << static_cast<int>(action);
    }
}

TEST(SimulatedRegister, FollowsTheDescriptionOfEachBit) {
    SimulatedRegister mixed({
        {0x000F, 0x000A, Access::ReadWrite, std::nullopt, ModifiedWrite::OneToClear},
        {0x00F0, 0x0050, Access::ReadOnly, ReadAction::Clear, ModifiedWrite::Modify},
        {0x0F00, 0x0000, Access::ReadWriteOnce, std::nullopt, ModifiedWrite::Modify},
        {0xF000, 0xF000, Access::WriteOnly, std::nullopt, ModifiedWrite::Modify},
    });
    EXPECT_EQ(mixed.read(), 0x005AU);
    EXPECT_EQ(mixed.read(), 0x000AU);
    mixed.write(0x5A5A2);
    EXPECT_EQ(mixed.read(), 0x50508U);
    mixed.write(0x00F00);
    EXPECT_EQ(mixed.read(), 0x00508U);
}

} // namespace
} // namespace RynvelTest
