// SPDX-License-Identifier: MIT
#include <rynvel.hpp>

#include <array>
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

namespace {

using Rynvel::ByteOrder;
using Rynvel::Mmap;

std::chrono::seconds duration() {
    const char* const seconds = std::getenv("RYNVEL_STRESS_SECONDS");
    return std::chrono::seconds(seconds != nullptr ? std::atoi(seconds) : 1);
}

constexpr unsigned int threadCount = 4;
constexpr unsigned int laneRegister = 0;
constexpr unsigned int pairRegister = 1;

/** Threads that use one device until the time has passed or a thread finds an error. */
template <typename T>
class Stress {
public:
    bool run() {
        std::vector<std::thread> threads;
        for (unsigned int i = 0; i < threadCount; ++i) {
            threads.emplace_back([this, i] { repeat([&, round = 0U]() mutable { return write(i, ++round); }); });
            threads.emplace_back([this] { repeat([this] { return readPair(); }); });
        }
        for (auto& thread : threads) {
            thread.join();
        }
        return !m_wrong;
    }

private:
    template <typename Round>
    void repeat(Round round) {
        while (!m_wrong && std::chrono::steady_clock::now() < m_end) {
            if (!round()) {
                m_wrong = true;
            }
        }
    }

    /** Writes and reads back the bits that the thread owns in a register. Writes a pair of registers as one burst. */
    bool write(unsigned int thread, unsigned int round) {
        constexpr unsigned int laneBits = 2 * sizeof(T);
        const unsigned int shift = laneBits * thread;
        const auto mask = static_cast<T>(((1U << laneBits) - 1) << shift);
        const auto lane = static_cast<T>((round << shift) & mask);
        const std::array<T, 2> pair{static_cast<T>(round), static_cast<T>(round)};
        T value = 0;
        return m_device.write(laneRegister, lane, mask) && m_device.read(laneRegister, &value) &&
               (value & mask) == lane && m_device.write(pairRegister, pair.data(), 2, ByteOrder::Host);
    }

    bool readPair() {
        std::array<T, 2> pair{};
        return m_device.read(pairRegister, pair.data(), 2, ByteOrder::Host) && pair[0] == pair[1];
    }

    Mmap<T> m_device{"fake", 0, 4096, std::make_unique<Rynvel::PthreadMutex>(Rynvel::PthreadMutexType::None), true};
    const std::chrono::steady_clock::time_point m_end = std::chrono::steady_clock::now() + duration();
    std::atomic<bool> m_wrong{false};
};

TEST(MmapStress, TearsNoMaskedWriteAndNoBurstOfFourWritersAndFourReadersOf16Bits) {
    EXPECT_TRUE(Stress<std::uint16_t>().run());
}

TEST(MmapStress, TearsNoMaskedWriteAndNoBurstOfFourWritersAndFourReadersOf32Bits) {
    EXPECT_TRUE(Stress<std::uint32_t>().run());
}

} // namespace
