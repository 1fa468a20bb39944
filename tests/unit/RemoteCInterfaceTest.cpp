#include <algorithm>
#include <csignal>
#include <cstdio>
#include <future>
#include <thread>

#include <gtest/gtest.h>
#include <poll.h>
#include <rynvel.h>
#include <rynvel.hpp>

#include "ChildProcess.h"
#include "PeerNetwork.h"
#include "PlainMutex.h"
#include "RequestBytes.h"
#include "TestPeer.h"
#include "TraceRecorder.h"

// The C interface of a library that was built with a description of remote devices. Opening fills a process-wide list,
// so every test runs in a child.

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

/** The types of requests, as they are numbered on the way. */
enum Type : std::uint32_t { Open, Close, Read8, Read16, Read32, Write8, Write16, Write32, Ioctl };

/** The server of the three devices, in its network. */
struct Site {
    Site() { network.place("10.0.0.7:9000", peer.port()); }

    const TraceRecorder silence{0};
    TestPeer peer;
    PeerNetwork network;
};

/** Expects the call to succeed by this one request, on the connection of the device's requests. */
template <typename Call>
void expectRequest(Site& site, std::size_t connection, const Bytes& request, Call call) {
    site.peer.clearRequests();
    EXPECT_EQ(call(), 0);
    const auto received = site.peer.requests(1);
    EXPECT_EQ(received.size(), 1U);
    EXPECT_EQ(received[0].connection, connection);
    EXPECT_EQ(received[0].bytes, request);
}

/** Opens the three devices, whose connections are 0 and 1, 2 and 3, 4 and 5, and runs the body. */
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
        const char* const names[] = {name8, name16, name32};
        for (std::size_t i = 0; i < 3; ++i) {
            EXPECT_EQ(received[3 * i].connection, 2 * i);
            EXPECT_EQ(received[3 * i].bytes, requestBytes(Open, names[i]));
            EXPECT_EQ(received[3 * i + 1].connection, 2 * i + 1);
            EXPECT_EQ(received[3 * i + 1].bytes, requestBytes(Open, names[i]));
            EXPECT_EQ(received[3 * i + 2].connection, 2 * i + 1);
            EXPECT_EQ(received[3 * i + 2].bytes, requestBytes(12, names[i]));
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

TEST(RemoteCInterface, FindsAServerAtTheUsualPortWhereTheRowHasNone) {
    inChildProcess([] {
        Site site;
        TestPeer usual;
        site.network.place("10.0.0.7:8888", usual.port());
        EXPECT_GE(Rynvel_open("usual.port"), 0);
        EXPECT_EQ(usual.requests(3)[0].bytes, requestBytes(Open, "usual.port"));
    });
}

TEST(RemoteCInterface, ReadsARegister) {
    withOpenDevices([](Site& site) {
        std::uint8_t value8 = 0;
        std::uint16_t value16 = 0;
        std::uint32_t value32 = 0;
        site.peer.script({success({0x12345678}), success({0x12345678}), success({0x9ABCDEF0})});
        expectRequest(site, 0, requestBytes(Read8, name8, {{addressAt, 0x10}, {lengthAt, 1}}),
                      [&] { return Rynvel_read8(handle8, 0x10, &value8); });
        expectRequest(site, 2, requestBytes(Read16, name16, {{addressAt, 0x20}, {lengthAt, 1}}),
                      [&] { return Rynvel2_read16(handle16, 0x20, &value16); });
        expectRequest(site, 4, requestBytes(Read32, name32, {{addressAt, 0x30}, {lengthAt, 1}}),
                      [&] { return Rynvel2_read32(handle32, 0x30, &value32); });
        EXPECT_EQ(value8, 0x78);
        EXPECT_EQ(value16, 0x5678);
        EXPECT_EQ(value32, 0x9ABCDEF0U);
    });
}

TEST(RemoteCInterface, WritesARegister) {
    withOpenDevices([](Site& site) {
        const std::vector<WordAt> words{{addressAt, 0x10}, {valuesAt, 0x5A}, {lengthAt, 1}};
        expectRequest(site, 0, requestBytes(Write8, name8, words), [] { return Rynvel_write8(handle8, 0x10, 0x5A); });
        expectRequest(site, 2, requestBytes(Write16, name16, words),
                      [] { return Rynvel2_write16(handle16, 0x10, 0x5A); });
        expectRequest(site, 4, requestBytes(Write32, name32, words),
                      [] { return Rynvel2_write32(handle32, 0x10, 0x5A); });
    });
}

TEST(RemoteCInterface, WritesUnderAMaskThatTheServerApplies) {
    withOpenDevices([](Site& site) {
        const std::vector<WordAt> words{{addressAt, 0x10}, {valuesAt, 0x5A}, {lengthAt, 1}, {maskAt, 0x3C}};
        expectRequest(site, 0, requestBytes(Write8, name8, words),
                      [] { return Rynvel_writeBitmask8(handle8, 0x10, 0x5A, 0x3C); });
        expectRequest(site, 2, requestBytes(Write16, name16, words),
                      [] { return Rynvel2_writeBitmask16(handle16, 0x10, 0x5A, 0x3C); });
        expectRequest(site, 4, requestBytes(Write32, name32, words),
                      [] { return Rynvel2_writeBitmask32(handle32, 0x10, 0x5A, 0x3C); });
    });
}

TEST(RemoteCInterface, SendsTheDividedByteAddressesOfTheOlderFunctions) {
    withOpenDevices([](Site& site) {
        std::uint16_t values16[2] = {};
        std::uint32_t values32[2] = {};
        const auto addressSentBy = [&](auto call) {
            site.peer.clearRequests();
            EXPECT_EQ(call(), 0);
            return asRequest(site.peer.requests(1)[0].bytes).getAddress();
        };
        EXPECT_EQ(addressSentBy([&] { return Rynvel_read16(handle16, 0x21, values16); }), 0x10U);
        EXPECT_EQ(addressSentBy([&] { return Rynvel_read32(handle32, 0x23, values32); }), 0x8U);
        EXPECT_EQ(addressSentBy([&] { return Rynvel_write16(handle16, 0x21, 1); }), 0x10U);
        EXPECT_EQ(addressSentBy([&] { return Rynvel_write32(handle32, 0x23, 1); }), 0x8U);
        EXPECT_EQ(addressSentBy([&] { return Rynvel_writeBitmask16(handle16, 0x21, 1, 1); }), 0x10U);
        EXPECT_EQ(addressSentBy([&] { return Rynvel_writeBitmask32(handle32, 0x23, 1, 1); }), 0x8U);
        EXPECT_EQ(addressSentBy([&] { return Rynvel_burstRead16(handle16, 0x21, values16, 2, 0); }), 0x10U);
        EXPECT_EQ(addressSentBy([&] { return Rynvel_burstRead32(handle32, 0x23, values32, 2, 0); }), 0x8U);
        EXPECT_EQ(addressSentBy([&] { return Rynvel_burstWrite16(handle16, 0x21, values16, 2, 0); }), 0x10U);
        EXPECT_EQ(addressSentBy([&] { return Rynvel_burstWrite32(handle32, 0x23, values32, 2, 0); }), 0x8U);
    });
}

/** The words of a burst of two items at 0x40. */
std::vector<WordAt> burst(bool hostOrder, const std::vector<std::uint32_t>& values) {
    auto words = valueWords(values);
    words.emplace_back(addressAt, 0x40);
    words.emplace_back(byteOrderAt, hostOrder ? 1 : 0);
    return words;
}

TEST(RemoteCInterface, ReadsBurstsInTheOrderOfTheFlag) {
    withOpenDevices([](Site& site) {
        const std::vector<std::uint32_t> none{0, 0};
        std::uint8_t values8[2] = {};
        site.peer.script({success({1, 2})});
        expectRequest(site, 0, requestBytes(Read8, name8, burst(true, none)),
                      [&] { return Rynvel_burstRead8(handle8, 0x40, values8, 2); });
        EXPECT_EQ(values8[1], 2);
        for (const int flag : {0, 1, 7}) {
            std::uint16_t values16[2] = {};
            std::uint32_t values32[2] = {};
            site.peer.script({success({0x1234, 0x5678}), success({0x12345678, 0x9ABCDEF0})});
            expectRequest(site, 2, requestBytes(Read16, name16, burst(flag == 0, none)),
                          [&] { return Rynvel2_burstRead16(handle16, 0x40, values16, 2, flag); });
            expectRequest(site, 4, requestBytes(Read32, name32, burst(flag == 0, none)),
                          [&] { return Rynvel2_burstRead32(handle32, 0x40, values32, 2, flag); });
            EXPECT_EQ(values16[0], 0x1234);
            EXPECT_EQ(values16[1], 0x5678);
            EXPECT_EQ(values32[0], 0x12345678U);
            EXPECT_EQ(values32[1], 0x9ABCDEF0U);
        }
    });
}

TEST(RemoteCInterface, WritesBurstsInTheOrderOfTheFlag) {
    withOpenDevices([](Site& site) {
        const std::uint8_t values8[] = {0x12, 0xFE};
        const std::uint16_t values16[] = {0x12, 0xFE};
        const std::uint32_t values32[] = {0x12, 0xFE};
        expectRequest(site, 0, requestBytes(Write8, name8, burst(true, {0x12, 0xFE})),
                      [&] { return Rynvel_burstWrite8(handle8, 0x40, values8, 2); });
        for (const int flag : {0, 1, 7}) {
            expectRequest(site, 2, requestBytes(Write16, name16, burst(flag == 0, {0x12, 0xFE})),
                          [&] { return Rynvel2_burstWrite16(handle16, 0x40, values16, 2, flag); });
            expectRequest(site, 4, requestBytes(Write32, name32, burst(flag == 0, {0x12, 0xFE})),
                          [&] { return Rynvel2_burstWrite32(handle32, 0x40, values32, 2, flag); });
        }
    });
}

TEST(RemoteCInterface, ForwardsARequestWithItsArgument) {
    withOpenDevices([](Site& site) {
        expectRequest(site, 2, requestBytes(Ioctl, name16, {{valuesAt, 0xBEEF}, {lengthAt, 1}, {maskAt, 0x5401}}),
                      [] { return Rynvel_ioctl(handle16, 0x5401, 0xBEEF); });
        site.peer.script({refusal()});
        EXPECT_EQ(Rynvel_ioctl(handle16, 0x5401, 0xBEEF), -1);
    });
}

TEST(RemoteCInterface, ServesTheInterruptsOfADevice) {
    withOpenDevices([](Site& site) {
        unsigned long type = 0;
        site.peer.script({success({6})});
        expectRequest(site, 4, requestBytes(9, name32), [&] { return Rynvel_getInterruptType(handle32, &type); });
        EXPECT_EQ(type, 6U);
        expectRequest(site, 4, requestBytes(10, name32), [] { return Rynvel_enableInterrupts(handle32); });
        expectRequest(site, 4, requestBytes(11, name32), [] { return Rynvel_disableInterrupts(handle32); });
        pollfd ready{Rynvel_getFileDescriptor(handle32), POLLIN, 0};
        EXPECT_EQ(poll(&ready, 1, 0), 0);
        site.peer.send(5, {0x89, 0xAB, 0xCD, 0xEF});
        EXPECT_EQ(poll(&ready, 1, -1), 1);
        unsigned long info = 0;
        EXPECT_EQ(Rynvel_receiveInterrupts(handle32, &info), 0);
        EXPECT_EQ(info, 0x89ABCDEFUL);
    });
}

TEST(RemoteCInterface, HasNoDescriptorWhereTheServerRefusesInterrupts) {
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

/** Operates on the 8-bit device, whose server goes away, without meeting a broken pipe. */
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
            // The machine of the server answers the next send by a reset, which the one after it meets.
            Rynvel_write8(handle8, 0, 1);
            Rynvel_write8(handle8, 0, 1);
            std::fputs("alive after the last\n", stderr);
        },
        testing::KilledBySignal(SIGPIPE), "^alive after the first\n$");
}

TEST(RemoteCInterface, ReportsFailuresOfADeadServerForGoodWhereSigpipeIsIgnored) {
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

TEST(RemoteCInterface, SurvivesItsServerByMakingADeviceOfItsOwnAnew) {
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

/** A thread that opens the device whose server is not there, found in the pause after its first attempt. */
class EndlessOpening {
public:
    using Opening = int();

    static int byName() { return Rynvel_open("far.remote"); }
    static int privately() {
        return Rynvel::Factory::getInstance().makeUnique32("far.remote", plainMutex()) != nullptr ? 0 : -1;
    }

    explicit EndlessOpening(Site& site, Opening* open = byName) : m_network(site.network) {
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

/** Opens a device in a thread of its own, and returns once it is about to take the Factory's lock. */
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

TEST(RemoteCInterface, HoldsUpEveryOtherOpeningUntilTheServerIsThere) {
    withOpenDevices([](Site& site) {
        EndlessOpening far(site);
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

TEST(RemoteCInterface, HoldsUpNoOpeningByAPrivateDeviceThatWaitsForItsServer) {
    inChildProcess([] {
        Site site;
        EndlessOpening far(site, EndlessOpening::privately);
        EXPECT_EQ(Rynvel_open("local"), handleOfLocal);
        EXPECT_EQ(Rynvel_open(name8), handle8);
        EXPECT_EQ(far.succeed(), 0);
    });
}

TEST(RemoteCInterface, OpensTheOtherDevicesAfterTheOneThatHeldThemUp) {
    inChildProcess([] {
        Site site;
        EndlessOpening far(site);
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
