// SPDX-License-Identifier: MIT
#include <array>
#include <cerrno>
#include <vector>

#include "BoardRegisters.h"
#include "DeviceContract.h"
#include "TraceRecorder.h"

// Tests FPGA registers with the real spidev driver.

namespace RynvelTest {
namespace {

constexpr auto node = "/dev/spidev7.1";

class FpgaOnBoard : public BoardRegisters<std::uint32_t>, public UsualBackend {
public:
    static constexpr bool hasHandle = false;
    static constexpr bool atomicMaskedWrites = false;

    FpgaOnBoard() : BoardRegisters("spidev7.1") {}

    static std::unique_ptr<Rynvel::Device32> open() {
        return std::make_unique<Rynvel::FpgaSpi32>(node, plainMutex(), 0);
    }
};

INSTANTIATE_TYPED_TEST_SUITE_P(BoardFpga, DeviceContract, FpgaOnBoard);

class BoardFpga : public testing::Test {
protected:
    std::unique_ptr<Rynvel::IDevice> create() const {
        const Rynvel::MemoryDevice row{"own.fpga", node, 0x1000, Rynvel::DeviceType::FpgaSpi32};
        return Rynvel::Factory::getInstance().createDevice(row, plainMutex());
    }

    const BoardProbe m_probe{"spidev7.1"};
    const std::unique_ptr<Rynvel::IDevice> m_owner = create();
    Rynvel::Device32& m_device = dynamic_cast<Rynvel::Device32&>(*m_owner);
};

TEST_F(BoardFpga, ReceivesTheFramesOfAReadAndAWrite) {
    std::uint32_t value = 7;
    EXPECT_TRUE(m_device.write(3, 0xA1B2C3D4));
    EXPECT_EQ(m_probe.text("frame"), "01 00 00 10 0c a1 b2 c3 d4 00 00");
    EXPECT_TRUE(m_device.read(3, &value));
    EXPECT_EQ(m_probe.text("frame"), "02 00 00 10 0c 00 00 00 00 00 00");
    EXPECT_EQ(value, 0xA1B2C3D4U);
}

TEST_F(BoardFpga, MakesOneTransferPerRegister) {
    m_probe.resetCalls("transfer");
    std::vector<std::uint32_t> values(300);
    EXPECT_TRUE(m_device.write(0, values.data(), 300, Rynvel::ByteOrder::Host));
    EXPECT_TRUE(m_device.read(0, values.data(), 300, Rynvel::ByteOrder::Network));
    EXPECT_EQ(m_probe.calls("transfer"), 600U);
    m_probe.resetCalls("transfer");
    EXPECT_TRUE(m_device.write(0, 1, 0x0000FF00));
    EXPECT_TRUE(m_device.write(0, 1, 0));
    EXPECT_TRUE(m_device.write(0, 1, 0xFFFFFFFF));
    EXPECT_EQ(m_probe.calls("transfer"), 5U);
}

TEST_F(BoardFpga, ReadsZeroAndTracesABadStatus) {
    const TraceRecorder recorder(1);
    std::uint32_t value = 7;
    m_probe.set("status", "2 0x40");
    EXPECT_FALSE(m_device.read(0, &value));
    EXPECT_EQ(value, 0U);
    EXPECT_FALSE(m_device.write(0, 1));
    EXPECT_TRUE(m_device.write(0, 1));
    EXPECT_EQ(recorder.lines(),
              (EventLog{"Rynvel.FpgaSpi 1 read: Error occurred while reading, status = 0x00000040",
                        "Rynvel.FpgaSpi 1 write: Error occurred while writing, status = 0x00000040"}));
}

TEST_F(BoardFpga, AnswersABadStatusBeyondItsRegisters) {
    const TraceRecorder recorder(0);
    std::uint32_t value = 7;
    EXPECT_FALSE(m_device.read(0x10000, &value));
    EXPECT_EQ(value, 0U);
}

TEST_F(BoardFpga, KeepsTheValueWhenATransferFails) {
    const TraceRecorder recorder(1);
    std::uint32_t value = 7;
    m_probe.fail("transfer", 2, EIO);
    errno = 0;
    EXPECT_FALSE(m_device.read(0, &value));
    EXPECT_EQ(errno, EIO);
    EXPECT_EQ(value, 7U);
    EXPECT_FALSE(m_device.write(0, 1));
    EXPECT_TRUE(m_device.write(0, 1));
    EXPECT_EQ(recorder.lines(), EventLog{});
}

TEST_F(BoardFpga, EndsABurstAtTheWordThatFails) {
    const TraceRecorder recorder(0);
    const std::array<std::uint32_t, 3> written{1, 2, 3};
    EXPECT_TRUE(m_device.write(0, written.data(), 3, Rynvel::ByteOrder::Host));
    std::array<std::uint32_t, 3> values{9, 9, 9};
    m_probe.set("status", "1 0x00");
    EXPECT_FALSE(m_device.read(0, values.data(), 3, Rynvel::ByteOrder::Host));
    EXPECT_EQ(values, (std::array<std::uint32_t, 3>{0, 9, 9}));
}

} // namespace
} // namespace RynvelTest
