// SPDX-License-Identifier: MIT
#include <rynvel.h>
#include <rynvel.hpp>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <future>
#include <thread>

#include <poll.h>

#include <gtest/gtest.h>

#include "CFunctions.h"
#include "ChildProcess.h"
#include "PeerNetwork.h"
#include "PlainMutex.h"
#include "RequestBytes.h"
#include "TestPeer.h"
#include "TraceRecorder.h"

// Tests the C interface of a library that was built with a description of remote devices. A device stays open until its
// process ends, so every test runs in a child process.

namespace {

using namespace RynvelTest;

constexpr int handle8 = 0;
constexpr int handle16 = 1;
constexpr int handle32 = 2;
constexpr int handleOfFar = 4;
constexpr int handleOfLocal = 5;

constexpr auto name8 = "traf.remote.8";
constexpr auto name16 = "traf.remote.16";
constexpr auto name32 = "traf.remote.32";
/** The device names, by handle. */
constexpr const char* names[] = {name8, name16, name32};

/** The server of the three devices, and its network. */
struct Site {
    Site() { network.place("10.0.0.7:9000", peer.port()); }

    const TraceRecorder silence{0};
    TestPeer peer;
    PeerNetwork network;
};

/** Expects the call to succeed with exactly this request, on the request connection of the device. */
template <typename Call>
void expectRequest(Site& site, int handle, RequestType type, const std::vector<WordAt>& words, Call call) {
    site.peer.clearRequests();
    EXPECT_EQ(call(), 0);
    const auto received = site.peer.requests(1);
    EXPECT_EQ(received.size(), 1U);
    EXPECT_EQ(received[0].connection, static_cast<std::size_t>(2 * handle));
    EXPECT_EQ(received[0].bytes, requestBytes(type, names[handle], words));
}

/** In a child process, opens the three devices with the connections 0 and 1, 2 and 3, 4 and 5, and runs the body. */
template <typename Body>
void withOpenDevices(Body body) {
    inChildProcess([&] {
        Site site;
        ASSERT_EQ(Rynvel_open(name8), handle8);
        ASSERT_EQ(Rynvel_open(name16), handle16);
        ASSERT_EQ(Rynvel_open(name32), handle32);
        body(site);
    });
}

TEST(RemoteCInterface, OpensDevicesByTheirNamesToTheHandlesOfTheirRows) {
    withOpenDevices([](Site& site) {
        const auto received = site.peer.requests(9);
        ASSERT_EQ(received.size(), 9U);
        for (std::size_t i = 0; i < 3; ++i) {
            EXPECT_EQ(received[3 * i].connection, 2 * i);
            EXPECT_EQ(received[3 * i].bytes, requestBytes(RequestType::Open, names[i]));
            EXPECT_EQ(received[3 * i + 1].connection, 2 * i + 1);
            EXPECT_EQ(received[3 * i + 1].bytes, requestBytes(RequestType::Open, names[i]));
            EXPECT_EQ(received[3 * i + 2].connection, 2 * i + 1);
            EXPECT_EQ(received[3 * i + 2].bytes, requestBytes(RequestType::WaitForInterrupt, names[i]));
        }
    });
}

TEST(RemoteCInterface, OpensADeviceOnceAndKeepsItWhenItIsClosed) {
    withOpenDevices([](Site& site) {
        site.peer.clearRequests();
        EXPECT_EQ(Rynvel_open(name16), handle16);
        EXPECT_EQ(Rynvel_open2(name16), handle16);
        Rynvel_close(handle16);
        EXPECT_EQ(site.peer.requests(0).size(), 0U);
        EXPECT_EQ(Rynvel_write16(handle16, 0, 1), 0);
    });
}

TEST(RemoteCInterface, OpensADeviceThatTheServerRefuses) {
    inChildProcess([] {
        Site site;
        site.peer.script({refusal()});
        EXPECT_EQ(Rynvel_open(name8), handle8);
        std::uint8_t value = 0;
        site.peer.script({success({3}), refusal()});
        EXPECT_EQ(Rynvel_read8(handle8, 0, &value), 0);
        EXPECT_EQ(value, 3);
        EXPECT_EQ(Rynvel_read8(handle8, 0, &value), -1);
    });
}

TEST(RemoteCInterface, FindsAServerAtTheDefaultPortIfTheRowHasNone) {
    inChildProcess([] {
        Site site;
        TestPeer usual;
        site.network.place("10.0.0.7:8888", usual.port());
        EXPECT_GE(Rynvel_open("usual.port"), 0);
        EXPECT_EQ(usual.requests(3)[0].bytes, requestBytes(RequestType::Open, "usual.port"));
    });
}

TEST(RemoteCInterface, AccessesARegisterWithOneRequestAtTheDividedAddress) {
    withOpenDevices([](Site& site) {
        forAllCFunctions(handle8, [&site](int handle, const auto& functions) {
            using T = RegisterOf<decltype(functions)>;
            for (const unsigned int rest : {0U, functions.divisor - 1}) {
                const unsigned int address = 0x10 * functions.divisor + rest;
                T value = 0;
                site.peer.script({success({0x9ABCDEF0})});
                expectRequest(site, handle, readType<T>, {{addressAt, 0x10}, {lengthAt, 1}},
                              [&] { return functions.read(handle, address, &value); });
                EXPECT_EQ(value, static_cast<T>(0x9ABCDEF0));
                std::vector<WordAt> words{{addressAt, 0x10}, {valuesAt, 0x5A}, {lengthAt, 1}};
                expectRequest(site, handle, writeType<T>, words,
                              [&] { return functions.write(handle, address, 0x5A); });
                words.emplace_back(maskAt, 0x3C);
                expectRequest(site, handle, writeType<T>, words,
                              [&] { return functions.writeBitmask(handle, address, 0x5A, 0x3C); });
            }
        });
    });
}

TEST(RemoteCInterface, MovesBurstsInTheOrderOfTheFlagAtTheDividedAddress) {
    withOpenDevices([](Site& site) {
        forAllCFunctions(handle8, [&site](int handle, const auto& functions) {
            using T = RegisterOf<decltype(functions)>;
            const unsigned int address = 0x40 * functions.divisor + functions.divisor - 1;
            for (const int flag : {0, 1, 7}) {
                const std::vector<WordAt> place{{addressAt, 0x40}, {byteOrderAt, functions.isHostOrder(flag) ? 1 : 0}};
                auto words = place;
                words.emplace_back(lengthAt, 2);
                T values[2] = {};
                site.peer.script({success({0x12345678, 0x9ABCDEF0})});
                expectRequest(site, handle, readType<T>, words,
                              [&] { return functions.burstRead(handle, address, values, 2, flag); });
                EXPECT_EQ(values[0], static_cast<T>(0x12345678));
                EXPECT_EQ(values[1], static_cast<T>(0x9ABCDEF0));
                words = valueWords({values[0], values[1]});
                words.insert(words.end(), place.begin(), place.end());
                expectRequest(site, handle, writeType<T>, words,
                              [&] { return functions.burstWrite(handle, address, values, 2, flag); });
            }
        });
    });
}

TEST(RemoteCInterface, ForwardsARequestWithItsArgument) {
    withOpenDevices([](Site& site) {
        expectRequest(site, handle16, RequestType::Ioctl, {{valuesAt, 0xBEEF}, {lengthAt, 1}, {maskAt, 0x5401}},
                      [] { return Rynvel_ioctl(handle16, 0x5401, 0xBEEF); });
        site.peer.script({refusal()});
        EXPECT_EQ(Rynvel_ioctl(handle16, 0x5401, 0xBEEF), -1);
    });
}

TEST(RemoteCInterface, ServesTheInterruptsOfADevice) {
    withOpenDevices([](Site& site) {
        unsigned long type = 0;
        site.peer.script({success({6})});
        expectRequest(site, handle32, RequestType::GetInterruptType, {},
                      [&] { return Rynvel_getInterruptType(handle32, &type); });
        EXPECT_EQ(type, 6U);
        expectRequest(site, handle32, RequestType::EnableInterrupt, {},
                      [] { return Rynvel_enableInterrupts(handle32); });
        expectRequest(site, handle32, RequestType::DisableInterrupt, {},
                      [] { return Rynvel_disableInterrupts(handle32); });
        pollfd ready{Rynvel_getFileDescriptor(handle32), POLLIN, 0};
        EXPECT_EQ(poll(&ready, 1, 0), 0);
        site.peer.send(5, {0x89, 0xAB, 0xCD, 0xEF});
        EXPECT_EQ(poll(&ready, 1, -1), 1);
        unsigned long info = 0;
        EXPECT_EQ(Rynvel_receiveInterrupts(handle32, &info), 0);
        EXPECT_EQ(info, 0x89ABCDEFUL);
    });
}

TEST(RemoteCInterface, HasNoDescriptorIfTheServerRefusesInterrupts) {
    inChildProcess([] {
        Site site;
        site.peer.script({success(), success(), refusal()});
        EXPECT_EQ(Rynvel_open(name8), handle8);
        unsigned long info = 0x55;
        EXPECT_EQ(Rynvel_getFileDescriptor(handle8), -1);
        EXPECT_EQ(Rynvel_receiveInterrupts(handle8, &info), -1);
        EXPECT_EQ(info, 0x55U);
        EXPECT_EQ(Rynvel_write8(handle8, 0, 1), 0);
    });
}

/** Makes the server close the request connection of the 8-bit device, and expects a read to fail. */
void loseTheServer(Site& site) {
    site.peer.script({closing()});
    std::uint8_t value = 0x55;
    EXPECT_EQ(Rynvel_read8(handle8, 0, &value), -1);
    EXPECT_EQ(value, 0);
}

TEST(RemoteCInterface, EndsTheProcessBySigpipeAtALaterOperationOnADeadServer) {
    EXPECT_EXIT(
        {
            Site site;
            Rynvel_open(name8);
            loseTheServer(site);
            std::fputs("alive after the first\n", stderr);
            // The host of the server answers the first send with a reset. The second send then raises SIGPIPE.
            Rynvel_write8(handle8, 0, 1);
            Rynvel_write8(handle8, 0, 1);
            std::fputs("alive after the last\n", stderr);
        },
        testing::KilledBySignal(SIGPIPE), "^alive after the first\n$");
}

TEST(RemoteCInterface, ReportsFailuresOfADeadServerPermanentlyIfSigpipeIsIgnored) {
    withOpenDevices([](Site& site) {
        std::signal(SIGPIPE, SIG_IGN);
        loseTheServer(site);
        EXPECT_EQ(Rynvel_write8(handle8, 0, 1), -1);
        EXPECT_EQ(Rynvel_write8(handle8, 0, 1), -1);
        std::uint8_t values[2] = {};
        unsigned long type = 0x55;
        EXPECT_EQ(Rynvel_burstRead8(handle8, 0, values, 2), -1);
        EXPECT_EQ(Rynvel_burstWrite8(handle8, 0, values, 2), -1);
        EXPECT_EQ(Rynvel_writeBitmask8(handle8, 0, 1, 1), -1);
        EXPECT_EQ(Rynvel_ioctl(handle8, 0, 0), -1);
        EXPECT_EQ(Rynvel_enableInterrupts(handle8), -1);
        EXPECT_EQ(Rynvel_disableInterrupts(handle8), -1);
        EXPECT_EQ(Rynvel_getInterruptType(handle8, &type), -1);
        EXPECT_EQ(type, 0U);
        EXPECT_EQ(Rynvel_open(name8), handle8);
        EXPECT_EQ(Rynvel_write8(handle8, 0, 1), -1);
        EXPECT_EQ(Rynvel_write16(handle16, 0, 1), 0);
    });
}

std::unique_ptr<Rynvel::Device8> ownDevice(const char* name) {
    return Rynvel::Factory::getInstance().makeUnique8(name, plainMutex());
}

TEST(RemoteCInterface, SurvivesItsServerByMakingItsPrivateDeviceAgain) {
    inChildProcess([] {
        Site site;
        std::signal(SIGPIPE, SIG_IGN);
        for (int round = 0; round < 2; ++round) {
            const auto device = ownDevice(name8);
            EXPECT_TRUE(device->write(0, 1));
            site.peer.script({closing()});
            EXPECT_FALSE(device->write(0, 1));
            EXPECT_FALSE(device->write(0, 1));
        }
    });
}

/** A thread that opens a device whose server does not listen. The first attempt to connect has failed. */
class PendingOpening {
public:
    using Opening = int();

    static int byName() { return Rynvel_open("far.remote"); }
    static int privately() {
        return Rynvel::Factory::getInstance().makeUnique32("far.remote", plainMutex()) != nullptr ? 0 : -1;
    }

    explicit PendingOpening(Site& site, Opening* open = byName) : m_network(site.network) {
        m_network.place("10.0.0.8:9000", m_server.port());
        m_opening = std::async(std::launch::async, open);
        EXPECT_EQ(m_network.awaitSleeper(), 3U);
    }

    void failOnceMore() {
        m_network.wakeSleeper();
        EXPECT_EQ(m_network.awaitSleeper(), 3U);
    }

    int succeed() {
        m_server.start();
        m_network.wakeSleeper();
        return m_opening.get();
    }

private:
    PeerNetwork& m_network;
    TestPeer m_server{TestPeer::Start::Later};
    std::future<int> m_opening;
};

/** Begins to open a device in another thread. Returns when the thread is about to take the lock of the Factory. */
std::future<int> beginToOpen(const char* name, const TraceRecorder& recorder) {
    const std::string entry = std::string("Rynvel.Factory 6 create ENTER logicalDevName=") + name;
    auto opening = std::async(std::launch::async, [name] { return Rynvel_open(name); });
    for (EventLog lines; std::find(lines.begin(), lines.end(), entry) == lines.end(); lines = recorder.lines()) {
        std::this_thread::yield();
    }
    return opening;
}

bool isDone(const std::future<int>& opening) {
    return opening.wait_for(std::chrono::seconds(0)) == std::future_status::ready;
}

TEST(RemoteCInterface, BlocksEveryOtherOpeningUntilTheServerListens) {
    withOpenDevices([](Site& site) {
        PendingOpening far(site);
        const TraceRecorder recorder(6, "Rynvel.Factory");
        auto another = beginToOpen("local", recorder);
        auto open = beginToOpen(name8, recorder);
        for (int attempt = 0; attempt < 4; ++attempt) {
            for (unsigned int i = 0; i < 50; ++i) {
                std::uint32_t value = 0;
                site.peer.script({success({i})});
                EXPECT_EQ(Rynvel2_read32(handle32, i, &value), 0);
                EXPECT_EQ(value, i);
            }
            EXPECT_FALSE(isDone(another));
            EXPECT_FALSE(isDone(open));
            far.failOnceMore();
        }
        EXPECT_EQ(Rynvel_open("unknown"), -1);
        EXPECT_NE(ownDevice("local"), nullptr);
        EXPECT_EQ(far.succeed(), handleOfFar);
        EXPECT_EQ(another.get(), handleOfLocal);
        EXPECT_EQ(open.get(), handle8);
    });
}

TEST(RemoteCInterface, BlocksNoOpeningWhileAPrivateDeviceWaitsForItsServer) {
    inChildProcess([] {
        Site site;
        PendingOpening far(site, PendingOpening::privately);
        EXPECT_EQ(Rynvel_open("local"), handleOfLocal);
        EXPECT_EQ(Rynvel_open(name8), handle8);
        EXPECT_EQ(far.succeed(), 0);
    });
}

TEST(RemoteCInterface, OpensTheOtherDevicesAfterTheOneThatBlockedThem) {
    inChildProcess([] {
        Site site;
        PendingOpening far(site);
        const TraceRecorder recorder(6, "Rynvel.Factory");
        auto another = beginToOpen("local", recorder);
        EXPECT_EQ(far.succeed(), handleOfFar);
        EXPECT_EQ(another.get(), handleOfLocal);
        EXPECT_EQ(recorder.lines(), (EventLog{"Rynvel.Factory 6 create ENTER logicalDevName=local",
                                              "Rynvel.Factory 4 createDevice: Device \"far.remote\" created.",
                                              "Rynvel.Factory 4 createDevice: Device \"local\" created."}));
    });
}

} // namespace
