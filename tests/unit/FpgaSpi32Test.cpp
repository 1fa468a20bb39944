// SPDX-License-Identifier: MIT
#include <rynvel.hpp>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <functional>
#include <map>
#include <numeric>
#include <utility>

#include <linux/spi/spidev.h>

#include <gtest/gtest.h>

#include "NetworkWord.h"
#include "NothingTraced.h"
#include "RecordingMutex.h"
#include "ScriptedOs.h"
#include "StoredResults.h"
#include "TraceRecorder.h"

namespace {

using Rynvel::ByteOrder;
using Rynvel::FpgaSpi32;
using namespace RynvelTest;

constexpr auto path = "/dev/spidev7.1";
constexpr std::size_t frameSize = 11;

/**
 * An FPGA on the spidev device of the scripted operating system. The object records each transaction as "spi FRAME".
 */
class ScriptedFpga {
public:
    explicit ScriptedFpga(ScriptedOs& os) : m_log(os.log()) {
        os.onRequest = [this](unsigned long request, unsigned long arg) { return transact(request, arg); };
    }

    std::map<std::uint32_t, std::uint32_t> registers;
    /** The status byte of every transaction that `statusOf` does not contain. */
    std::uint8_t status = 0x80;
    /** The status bytes of single transactions, by their number, counted from 0. */
    std::map<std::size_t, std::uint8_t> statusOf;
    /** The results of transactions that fail with errno EIO, by their number, counted from 0. */
    std::map<std::size_t, int> resultOf;

    const spi_ioc_transfer& lastTransfer() const { return m_transfer; }
    const std::string& replyBefore() const { return m_replyBefore; }
    std::size_t transactions() const { return m_transactions; }

private:
    int transact(unsigned long request, unsigned long arg) {
        const std::size_t number = m_transactions++;
        EXPECT_EQ(request, 0x40206B00UL);
        std::memcpy(&m_transfer, reinterpret_cast<const void*>(arg), sizeof(m_transfer));
        const auto* tx = reinterpret_cast<const std::uint8_t*>(m_transfer.tx_buf);
        auto* rx = reinterpret_cast<std::uint8_t*>(m_transfer.rx_buf);
        m_log.push_back("spi " + hexBytes(tx, frameSize));
        m_replyBefore = hexBytes(rx, frameSize);
        if (resultOf.count(number) != 0) {
            errno = EIO;
            return resultOf[number];
        }
        answer(tx, rx);
        rx[10] = statusOf.count(number) != 0 ? statusOf[number] : status;
        return frameSize;
    }

    void answer(const std::uint8_t* tx, std::uint8_t* rx) {
        const std::uint32_t address = wordAt(tx + 1);
        std::fill(rx, rx + frameSize, std::uint8_t{0xEE});
        if (tx[0] == 0x01) {
            registers[address] = wordAt(tx + 5);
        }
        putWord(rx + 6, registers[address]);
    }

    EventLog& m_log;
    spi_ioc_transfer m_transfer{};
    std::string m_replyBefore;
    std::size_t m_transactions = 0;
};

class FpgaSpi32Test : public testing::Test {
protected:
    FpgaSpi32Test() { m_os.log().clear(); }

    std::pair<bool, std::uint32_t> read(unsigned int address = 0) { return readFrom<std::uint32_t>(m_device, address); }

    ScriptedOs m_os;
    ScriptedFpga m_fpga{m_os};
    FpgaSpi32 m_device{path, std::make_unique<RecordingMutex>(m_os.log()), 0x1000};
};

TEST_F(FpgaSpi32Test, OpensTheNodeAndSetsNothingUp) {
    ScriptedOs os;
    const ScriptedFpga fpga(os);
    { const FpgaSpi32 device(path, std::make_unique<RecordingMutex>(os.log()), 0); }
    EXPECT_EQ(os.log(), (EventLog{"open(/dev/spidev7.1, 2)", "close(7)", "mutex destroyed"}));
    EXPECT_EQ(fpga.transactions(), 0U);
}

TEST_F(FpgaSpi32Test, ReadsARegisterInOneTransactionUnderTheLock) {
    m_fpga.registers[0x100C] = 0x11223344;
    EXPECT_EQ(read(3), std::pair(true, 0x11223344U));
    EXPECT_EQ(m_os.log(), (EventLog{"lock", "spi 020000100c000000000000", "unlock"}));
}

TEST_F(FpgaSpi32Test, WritesARegisterInOneTransactionUnderTheLock) {
    EXPECT_TRUE(m_device.write(3, 0xA1B2C3D4));
    EXPECT_EQ(m_fpga.registers[0x100C], 0xA1B2C3D4U);
    EXPECT_EQ(m_os.log(), (EventLog{"lock", "spi 010000100ca1b2c3d40000", "unlock"}));
}

TEST_F(FpgaSpi32Test, LeavesEveryOtherFieldOfTheTransferToTheNodesSettings) {
    const auto expectTransferOf = [this](auto operation) {
        operation();
        const spi_ioc_transfer transfer = m_fpga.lastTransfer();
        spi_ioc_transfer expected{};
        expected.tx_buf = transfer.tx_buf;
        expected.rx_buf = transfer.rx_buf;
        expected.len = 11;
        expected.bits_per_word = 8;
        EXPECT_EQ(std::memcmp(&transfer, &expected, sizeof(transfer)), 0);
        EXPECT_EQ(m_fpga.replyBefore(), "0000000000000000000000");
    };
    expectTransferOf([this] { read(); });
    expectTransferOf([this] { m_device.write(0, 1); });
}

TEST_F(FpgaSpi32Test, SendsAllFourBytesOfAnAddressAndLetsItWrapIn32Bits) {
    read(0x048D1159);
    EXPECT_EQ(m_os.takeLog()[1], "spi 0212345564000000000000");
    read(0x3FFFFFFF);
    EXPECT_EQ(m_os.takeLog()[1], "spi 0200000ffc000000000000");
    m_device.write(0x40000001, 0);
    EXPECT_EQ(m_os.takeLog()[1], "spi 0100001004000000000000");
}

TEST_F(FpgaSpi32Test, LeavesTheValueAloneAndTracesNothingWhenATransferFails) {
    const NothingTraced nothingTraced(5);
    for (const int result : {-1, 0}) {
        m_fpga.resultOf = {{m_fpga.transactions(), result}, {m_fpga.transactions() + 1, result}};
        errno = 0;
        EXPECT_EQ(read(), std::pair(false, untouched<std::uint32_t>));
        EXPECT_EQ(errno, EIO);
        EXPECT_EQ(m_os.takeLog().back(), "unlock");
        EXPECT_FALSE(m_device.write(0, 1));
        EXPECT_EQ(m_os.takeLog().back(), "unlock");
    }
}

TEST_F(FpgaSpi32Test, TakesAnyTransferOfAByteOrMoreForASuccess) {
    m_fpga.resultOf = {{0, 1}};
    m_fpga.status = 0;
    EXPECT_EQ(read(), std::pair(false, 0U));
}

TEST_F(FpgaSpi32Test, SetsTheValueToZeroAndTracesAStatusOtherThanSuccess) {
    const TraceRecorder recorder(5, "*", &m_os.log());
    for (const auto status : {std::uint8_t{0x00}, std::uint8_t{0x81}, std::uint8_t{0xFF}}) {
        m_fpga.status = status;
        EXPECT_EQ(read(), std::pair(false, 0U));
        const std::string message =
            "Rynvel.FpgaSpi 1 read: Error occurred while reading, status = 0x000000" + hexBytes(&status, 1);
        EXPECT_EQ(m_os.takeLog(), (EventLog{"lock", "spi 0200001000000000000000", message, "unlock"}));
    }
}

TEST_F(FpgaSpi32Test, TracesAStatusOtherThanSuccessOfAWriteUnderTheLock) {
    const TraceRecorder recorder(1, "*", &m_os.log());
    m_fpga.status = 0x42;
    EXPECT_FALSE(m_device.write(0, 1));
    EXPECT_EQ(m_os.log(),
              (EventLog{"lock", "spi 0100001000000000010000",
                        "Rynvel.FpgaSpi 1 write: Error occurred while writing, status = 0x00000042", "unlock"}));
}

TEST_F(FpgaSpi32Test, TracesNoStatusWhenLevelOneIsOff) {
    const NothingTraced nothingTraced(0);
    m_fpga.status = 0x42;
    EXPECT_FALSE(m_device.write(0, 1));
}

TEST_F(FpgaSpi32Test, StaysUsableAfterAFailure) {
    m_fpga.resultOf = {{0, -1}};
    m_fpga.statusOf = {{1, 0x00}};
    EXPECT_FALSE(m_device.write(0, 1));
    EXPECT_FALSE(m_device.write(0, 1));
    EXPECT_TRUE(m_device.write(0, 1));
}

TEST_F(FpgaSpi32Test, ReadsThenWritesUnderAMaskWithALockForEach) {
    for (const auto& [mask, write] : {std::pair(0x0000FF00U, "spi 01000010001122cc440000"),
                                      {0U, "spi 0100001000112233440000"},
                                      {0x7FFFFFFFU, "spi 01000010002abbccdd0000"}}) {
        m_fpga.registers[0x1000] = 0x11223344;
        EXPECT_TRUE(m_device.write(0, 0xAABBCCDD, mask));
        EXPECT_EQ(m_os.takeLog(), (EventLog{"lock", "spi 0200001000000000000000", "unlock", "lock", write, "unlock"}));
    }
}

TEST_F(FpgaSpi32Test, OnlyWritesUnderAMaskOfAllOnes) {
    EXPECT_TRUE(m_device.write(0, 0xAABBCCDD, 0xFFFFFFFF));
    EXPECT_EQ(m_os.log(), (EventLog{"lock", "spi 0100001000aabbccdd0000", "unlock"}));
}

/** A mutex that calls a function at its first unlock. The function accesses the registers, as a second thread may. */
class InterruptingMutex : public Rynvel::IMutex {
public:
    explicit InterruptingMutex(std::function<void()> intrusion) : m_intrusion(std::move(intrusion)) {}
    bool lock() override { return true; }
    bool unlock() override {
        std::exchange(m_intrusion, [] {})();
        return true;
    }

private:
    std::function<void()> m_intrusion;
};

TEST_F(FpgaSpi32Test, LosesAWriteBetweenTheReadAndTheWriteOfAMaskedWrite) {
    m_fpga.registers[0x1000] = 0x11111111;
    FpgaSpi32 intruded(path, std::make_unique<InterruptingMutex>([this] { m_device.write(0, 0x22222222); }), 0x1000);
    EXPECT_TRUE(intruded.write(0, 0x0000FF00, 0x0000FF00));
    EXPECT_EQ(m_fpga.transactions(), 3U);
    EXPECT_EQ(m_fpga.registers[0x1000], 0x1111FF11U);
}

TEST_F(FpgaSpi32Test, EndsAMaskedWriteAtTheReadOrTheWriteThatFails) {
    m_fpga.resultOf = {{0, -1}};
    m_fpga.statusOf = {{1, 0x01}, {3, 0x01}};
    for (const std::size_t transactions : {1U, 2U, 4U}) {
        EXPECT_FALSE(m_device.write(0, 1, 1));
        EXPECT_EQ(m_fpga.transactions(), transactions);
    }
}

TEST_F(FpgaSpi32Test, MakesNoTransactionForAnEmptyBurst) {
    std::uint32_t value = 0x55;
    for (const auto order : {ByteOrder::Host, ByteOrder::Network}) {
        EXPECT_TRUE(m_device.read(0, &value, 0, order));
        EXPECT_TRUE(m_device.write(0, &value, 0, order));
    }
    EXPECT_EQ(value, 0x55U);
    EXPECT_EQ(m_os.log(), EventLog{});
}

TEST_F(FpgaSpi32Test, MakesOneTransactionUnderOneLockPerWordOfABurst) {
    for (const unsigned int items : {1U, 300U}) {
        for (const auto order : {ByteOrder::Host, ByteOrder::Network}) {
            const bool network = order == ByteOrder::Network;
            std::vector<std::uint32_t> written(items);
            std::iota(written.begin(), written.end(), 0x11223300);
            auto values = written;
            EXPECT_TRUE(m_device.write(5, values.data(), items, order));
            EXPECT_EQ(values, written);
            const EventLog writing = m_os.takeLog();
            EXPECT_EQ(writing.size(), 3 * items);
            for (unsigned int i = 0; i < items; ++i) {
                EXPECT_EQ(m_fpga.registers[0x1014 + 4 * i], network ? __builtin_bswap32(written[i]) : written[i]);
                EXPECT_EQ(writing[3 * i], "lock");
                EXPECT_EQ(writing[3 * i + 2], "unlock");
            }
            std::fill(values.begin(), values.end(), 0);
            EXPECT_TRUE(m_device.read(5, values.data(), items, order));
            EXPECT_EQ(values, written);
            const EventLog reading = m_os.takeLog();
            EXPECT_EQ(reading.size(), 3 * items);
            EXPECT_EQ(reading[1], "spi 0200001014000000000000");
        }
    }
}

TEST_F(FpgaSpi32Test, StoresTheWordsOfANetworkBurstWithTheirBytesReversed) {
    m_fpga.registers[0x1000] = 0x11223344;
    std::uint32_t value = 0;
    EXPECT_TRUE(m_device.read(0, &value, 1, ByteOrder::Network));
    EXPECT_EQ(value, 0x44332211U);
}

TEST_F(FpgaSpi32Test, EndsABurstReadAtTheWordThatFails) {
    m_fpga.registers = {{0x1000, 0x01020304}, {0x1004, 0x05060708}, {0x1008, 0x090A0B0C}};
    std::array<std::uint32_t, 4> values{1, 1, 1, 1};
    m_fpga.resultOf = {{2, -1}};
    EXPECT_FALSE(m_device.read(0, values.data(), 4, ByteOrder::Network));
    EXPECT_EQ(values, (std::array<std::uint32_t, 4>{0x04030201, 0x08070605, 1, 1}));
    EXPECT_EQ(m_fpga.transactions(), 3U);
    m_fpga.statusOf = {{4, 0x00}};
    values = {1, 1, 1, 1};
    EXPECT_FALSE(m_device.read(0, values.data(), 4, ByteOrder::Host));
    EXPECT_EQ(values, (std::array<std::uint32_t, 4>{0x01020304, 0, 1, 1}));
    EXPECT_EQ(m_fpga.transactions(), 5U);
}

TEST_F(FpgaSpi32Test, EndsABurstWriteAtTheWordThatFails) {
    const std::array<std::uint32_t, 4> values{1, 2, 3, 4};
    m_fpga.resultOf = {{2, 0}};
    EXPECT_FALSE(m_device.write(0, values.data(), 4, ByteOrder::Host));
    EXPECT_EQ(m_fpga.transactions(), 3U);
    EXPECT_EQ(m_fpga.registers, (std::map<std::uint32_t, std::uint32_t>{{0x1000, 1}, {0x1004, 2}}));
}

/** An FPGA that counts its single operations. Bursts and masked writes call these virtual functions. */
class CountingFpga : public FpgaSpi32 {
public:
    using FpgaSpi32::FpgaSpi32;
    using FpgaSpi32::read;
    using FpgaSpi32::write;

    bool read(unsigned int /*offset*/, std::uint32_t* data) override {
        *data = 0;
        return ++reads > 0;
    }
    bool write(unsigned int /*offset*/, std::uint32_t /*data*/) override { return ++writes > 0; }

    int reads = 0;
    int writes = 0;
};

TEST_F(FpgaSpi32Test, BuildsBurstsAndMaskedWritesFromVirtualSingleOperations) {
    CountingFpga device(path, std::make_unique<RecordingMutex>(m_os.log()), 0);
    std::array<std::uint32_t, 3> values{};
    EXPECT_TRUE(device.read(0, values.data(), 3, ByteOrder::Host));
    EXPECT_TRUE(device.write(0, values.data(), 3, ByteOrder::Host));
    EXPECT_EQ(device.reads, 3);
    EXPECT_EQ(device.writes, 3);
    EXPECT_TRUE(device.write(0, 1, 2));
    EXPECT_TRUE(device.write(0, 1, 0xFFFFFFFF));
    EXPECT_TRUE(device.cancelWaitForInterrupt(0, 1));
    EXPECT_EQ(device.reads, 4);
    EXPECT_EQ(device.writes, 6);
    EXPECT_EQ(m_fpga.transactions(), 0U);
}

TEST_F(FpgaSpi32Test, TracesItsConstructionAndDestruction) {
    ScriptedOs os;
    const TraceRecorder recorder(6);
    { const FpgaSpi32 device(path, std::make_unique<RecordingMutex>(os.log()), 4096); }
    EXPECT_EQ(
        recorder.lines(),
        (EventLog{"Rynvel.FpgaSpi 6 FpgaSpi32 ENTER physicalDevName=/dev/spidev7.1, blockOffset=4096",
                  "Rynvel.FpgaSpi 6 ~FpgaSpi32 ENTER", "Rynvel.FpgaSpi 6 ~FpgaSpi32: Device name: /dev/spidev7.1"}));
    EXPECT_EQ(recorder.traces().front().file, "cppsrc/RynvelFpgaSpi");
    EXPECT_EQ(recorder.traces().front().option, 256);
}

TEST_F(FpgaSpi32Test, TracesTheEntryOfEveryOperation) {
    const TraceRecorder recorder(6);
    std::uint32_t value = 0;
    read(0x1F);
    m_device.write(0x1F, 0xAB);
    m_device.write(0x1F, 0xAB, 0xFFFFFFFF);
    m_device.write(0x1F, 0xAB, 0x0F);
    m_device.read(1, &value, 0, ByteOrder::Network);
    m_device.write(2, &value, 0, ByteOrder::Host);
    const std::string entry = "Rynvel.FpgaSpi 6 ";
    const std::string read = entry + "read ENTER Hex(offset)=0x0000001f";
    const std::string write = entry + "write ENTER Hex(offset)=0x0000001f, Hex(data)=0x000000";
    EXPECT_EQ(recorder.lines(), (EventLog{read, write + "ab", write + "ab, Hex(bitmask)=0xffffffff", write + "ab",
                                          write + "ab, Hex(bitmask)=0x0000000f", read, write + "ab",
                                          entry + "read ENTER Hex(offset)=0x00000001, items=0, byteOrder=Network",
                                          entry + "write ENTER Hex(offset)=0x00000002, items=0, byteOrder=Host"}));
}

/** Opens a missing device file of the real system. Writes traces up to the level to standard error. */
void openNothing(ZilTraceLevel level) {
    ZilTraceControl::setLevel("*", level);
    const FpgaSpi32 device("/dev/none", std::make_unique<Rynvel::PthreadMutex>(Rynvel::PthreadMutexType::None), 0);
}

TEST(FpgaSpi32Open, TracesAtLevelTwoWhyTheNodeCannotBeOpenedAndEndsTheProcess) {
    const std::string assertion = "cppsrc/RynvelFpgaSpi:67: Rynvel::FpgaSpi32::FpgaSpi32\\(const string&, "
                                  "std::unique_ptr<Rynvel::IMutex>, size_t\\): Assertion `m_fd != -1' failed";
    EXPECT_DEATH(openNothing(2),
                 "Could not open device \"/dev/none\". errno = No such file or directory\n.*" + assertion);
    EXPECT_DEATH(openNothing(1), "^[^\n]*" + assertion);
}

} // namespace
