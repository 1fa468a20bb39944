// SPDX-License-Identifier: MIT
#include <rynvel.hpp>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <functional>
#include <future>
#include <limits>
#include <numeric>
#include <tuple>
#include <type_traits>

#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "MessageBytes.h"
#include "NothingTraced.h"
#include "RecordingMutex.h"
#include "RequestBytes.h"
#include "ScriptedOs.h"
#include "StoredResults.h"
#include "TestPeer.h"
#include "TraceRecorder.h"

namespace {

using namespace Rynvel;
using namespace RynvelTest;

constexpr auto name = "traf.top";
constexpr std::size_t requests = 0;
constexpr std::size_t interrupts = 1;

/** Returns the bytes of a request with the name of the device, and with words at offsets. */
Bytes requestOf(RequestType type, const std::vector<WordAt>& words = {}, const std::string& deviceName = name) {
    return requestBytes(type, deviceName, words);
}

/** A scope that ignores SIGPIPE. Writing to a closed connection then fails instead of ending the test. */
class BrokenPipesIgnored {
public:
    BrokenPipesIgnored() { std::signal(SIGPIPE, SIG_IGN); }
    BrokenPipesIgnored(const BrokenPipesIgnored&) = delete;
    BrokenPipesIgnored& operator=(const BrokenPipesIgnored&) = delete;
    ~BrokenPipesIgnored() { std::signal(SIGPIPE, SIG_DFL); }
};

template <typename T>
class RemoteTest : public testing::Test {
protected:
    static constexpr T all = std::numeric_limits<T>::max();

    std::unique_ptr<Remote<T>> make(const std::string& deviceName = name) {
        return std::make_unique<Remote<T>>(deviceName, m_peer.address(), std::make_unique<RecordingMutex>(m_log));
    }

    Remote<T>& device() {
        if (!m_device) {
            m_device = make();
            m_peer.clearRequests();
        }
        return *m_device;
    }

    /** Returns the only request since the device was opened. Expects the request on the request connection. */
    Bytes onlyRequest() {
        const auto received = m_peer.requests(1);
        EXPECT_EQ(received.size(), 1U);
        m_peer.clearRequests();
        if (received.empty()) {
            return {};
        }
        EXPECT_EQ(received[0].connection, requests);
        return received[0].bytes;
    }

    /** Opens the device, and appends replies to the next requests. */
    void reply(const std::vector<Reply>& answers) {
        device();
        m_peer.script(answers);
    }

    std::pair<bool, T> read(unsigned int address = 0) { return readFrom(device(), address); }
    std::pair<bool, T> readAfter(const Reply& answer) {
        reply({answer});
        return read();
    }

    /** Begins to read in another thread. Returns when the server has received the request. */
    std::future<std::pair<bool, T>> beginToRead(const Reply& answer) {
        reply({answer});
        auto reading = std::async(std::launch::async, [this] { return read(); });
        m_peer.requests(1);
        EXPECT_EQ(reading.wait_for(std::chrono::seconds(0)), std::future_status::timeout);
        return reading;
    }

    /** Expects the operation to succeed if the server answers Success, and to fail in all other cases. */
    template <typename Operation>
    void expectTheResultOfTheServer(Operation operation) {
        Response odd;
        odd.setResult(static_cast<ResponseData::Result>(1));
        reply({success(), refusal(), answer(odd), closing()});
        EXPECT_TRUE(operation());
        for (int failure = 0; failure < 4; ++failure) {
            EXPECT_FALSE(operation()) << failure;
        }
    }

    const BrokenPipesIgnored m_brokenPipesIgnored;
    const TraceRecorder m_silence{0};
    EventLog m_log;
    TestPeer m_peer;
    std::unique_ptr<Remote<T>> m_device;
};

using Widths = testing::Types<std::uint8_t, std::uint16_t, std::uint32_t>;
TYPED_TEST_SUITE(RemoteTest, Widths);

TYPED_TEST(RemoteTest, AnnouncesItselfOnBothConnectionsAndArmsTheSecondWhenItIsConstructed) {
    const auto device = this->make();
    const auto received = this->m_peer.requests(3);
    ASSERT_EQ(received.size(), 3U);
    EXPECT_EQ(received[0].connection, requests);
    EXPECT_EQ(received[0].bytes, requestOf(RequestType::Open));
    EXPECT_EQ(received[1].connection, interrupts);
    EXPECT_EQ(received[1].bytes, requestOf(RequestType::Open));
    EXPECT_EQ(received[2].connection, interrupts);
    EXPECT_EQ(received[2].bytes, requestOf(RequestType::WaitForInterrupt));
    EXPECT_EQ(device->getDevName(), name);
    EXPECT_GE(device->getNativeHandle(), 0);
}

TYPED_TEST(RemoteTest, ExistsButSendsNoFurtherRequestWhenTheServerRefusesIt) {
    this->m_peer.script({refusal()});
    const auto refusedAtOnce = this->make();
    EXPECT_EQ(this->m_peer.requests(1).size(), 1U);
    EXPECT_GE(refusedAtOnce->getNativeHandle(), 0);
    this->m_peer.clearRequests();
    this->m_peer.script({success(), refusal()});
    const auto refusedThen = this->make();
    EXPECT_EQ(this->m_peer.requests(2).size(), 2U);
    EXPECT_GE(refusedThen->getNativeHandle(), 0);
}

TYPED_TEST(RemoteTest, ServesWhatTheServerAllowsWhenItRefusesTheAnnouncement) {
    this->m_peer.script({refusal()});
    const auto device = this->make();
    this->m_peer.script({success({7})});
    EXPECT_EQ(readFrom(*device), std::pair(true, TypeParam{7}));
    this->m_peer.send(interrupts, {0, 0, 0, 1});
    EXPECT_EQ(waitForInterruptOf(*device), std::pair(true, 1UL));
}

TYPED_TEST(RemoteTest, HasNoInterruptsWhenTheServerClosesTheirConnectionInsteadOfAnAnswer) {
    this->m_peer.script({success(), success(), closing()});
    EXPECT_EQ(this->device().getNativeHandle(), -1);
    EXPECT_TRUE(this->device().write(0, 1));
}

TYPED_TEST(RemoteTest, OpensWithTheDescriptorOfTheConnectionOfRequests) {
    const int descriptor = this->device().open();
    EXPECT_GE(descriptor, 0);
    EXPECT_NE(descriptor, this->device().getNativeHandle());
    EXPECT_EQ(this->m_peer.requests(3).size(), 3U);
    this->m_peer.script({refusal()});
    EXPECT_EQ(this->device().open(), -1);
    this->m_peer.script({success(), refusal()});
    EXPECT_EQ(this->device().open(), -1);
    this->m_peer.script({success(), success(), refusal()});
    EXPECT_EQ(this->device().open(), descriptor);
    EXPECT_EQ(this->device().getNativeHandle(), -1);
    EXPECT_EQ(this->device().open(), -1);
}

TYPED_TEST(RemoteTest, HasRegistersButNoInterruptsWhenTheServerRefusesInterrupts) {
    this->m_peer.script({success(), success(), refusal()});
    EXPECT_EQ(this->device().getNativeHandle(), -1);
    const NothingTraced nothingTraced(1);
    EXPECT_EQ(waitForInterruptOf(this->device()), std::pair(false, untouched<unsigned long>));
    EXPECT_EQ(this->readAfter(success({7})), std::pair(true, TypeParam{7}));
    EXPECT_TRUE(this->device().write(0, 1));
}

TYPED_TEST(RemoteTest, CutsANameTo127Characters) {
    const std::string longName(200, 'n');
    const auto device = this->make(longName);
    EXPECT_EQ(this->m_peer.requests(1)[0].bytes, requestOf(RequestType::Open, {}, longName.substr(0, 127)));
    EXPECT_EQ(device->getDevName(), longName);
}

TYPED_TEST(RemoteTest, ReadsARegisterAtAnyAddressWithOneRequest) {
    for (const unsigned int address : {0x1F0U, 0xFFFFFFFFU}) {
        this->reply({success({0x12345678})});
        EXPECT_EQ(this->read(address), std::pair(true, static_cast<TypeParam>(0x12345678)));
        EXPECT_EQ(this->onlyRequest(), requestOf(readType<TypeParam>, {{addressAt, address}, {lengthAt, 1}}));
    }
}

TYPED_TEST(RemoteTest, StoresTheReceivedValueEvenIfTheReadFails) {
    EXPECT_EQ(this->readAfter(refusal({9})), std::pair(false, TypeParam{9}));
    EXPECT_EQ(this->readAfter(refusal()), std::pair(false, TypeParam{0}));
    EXPECT_EQ(this->readAfter(success()), std::pair(true, TypeParam{0}));
}

TYPED_TEST(RemoteTest, ReadsZeroAndFailsOnALostConnection) {
    this->reply({closing()});
    const TraceRecorder recorder(1);
    for (std::size_t round = 1; round <= 3; ++round) {
        EXPECT_EQ(this->read(), std::pair(false, TypeParam{0}));
        EXPECT_EQ(recorder.traces().size(), round);
    }
    const std::string first = recorder.lines()[0];
    EXPECT_EQ(first.rfind("Rynvel.Connection 1 receive: Socket '", 0), 0U) << first;
    EXPECT_NE(first.find("' is closed."), std::string::npos);
    EXPECT_NE(recorder.lines()[2].find("' failed with: Broken pipe"), std::string::npos) << recorder.lines()[2];
}

TYPED_TEST(RemoteTest, TreatsATruncatedResponseAsComplete) {
    EXPECT_EQ(this->readAfter(truncated(responseOf({3}), 100)), std::pair(true, TypeParam{0}));
}

TYPED_TEST(RemoteTest, TreatsTheRestOfASplitResponseAsTheNextOne) {
    EXPECT_EQ(this->readAfter(split(responseOf({3, 4}), 8)), std::pair(true, TypeParam{0}));
    this->m_peer.releaseNextPiece();
    // The rest of the response begins with the second value, 4. The device takes this value for the result.
    EXPECT_EQ(this->read(), std::pair(false, TypeParam{0}));
}

TYPED_TEST(RemoteTest, WaitsForAResponseForAsLongAsItTakes) {
    auto reading = this->beginToRead(delayed(responseOf({3})));
    this->m_peer.releaseNextPiece();
    EXPECT_EQ(reading.get(), std::pair(true, TypeParam{3}));
}

TYPED_TEST(RemoteTest, WaitsForASilentServerUntilTheConnectionEnds) {
    auto reading = this->beginToRead(silence());
    this->m_peer.close(requests);
    EXPECT_EQ(reading.get(), std::pair(false, TypeParam{0}));
}

TYPED_TEST(RemoteTest, ReadsABurstWithOneRequestInEitherOrder) {
    for (const auto byteOrder : {ByteOrder::Host, ByteOrder::Network}) {
        this->reply({success({0x11111111, 0x22222222, 0x12345678})});
        TypeParam values[3] = {};
        EXPECT_TRUE(this->device().read(0x10, values, 3, byteOrder));
        EXPECT_EQ(values[0], static_cast<TypeParam>(0x11111111));
        EXPECT_EQ(values[1], static_cast<TypeParam>(0x22222222));
        EXPECT_EQ(values[2], static_cast<TypeParam>(0x12345678));
        EXPECT_EQ(
            this->onlyRequest(),
            requestOf(readType<TypeParam>,
                      {{addressAt, 0x10}, {lengthAt, 3}, {byteOrderAt, byteOrder == ByteOrder::Network ? 0 : 1}}));
    }
}

TYPED_TEST(RemoteTest, KeepsTheItemsThatTheServerDoesNotSend) {
    this->reply({success({1, 2, 3, 4}), refusal({1, 2, 3, 4})});
    std::vector<TypeParam> expected{1, 2, 3, 4};
    expected.resize(10, untouched<TypeParam>);
    EXPECT_EQ(readBurstFrom(this->device(), 10, 10), std::pair(true, expected));
    EXPECT_EQ(readBurstFrom(this->device(), 10, 10), std::pair(false, expected));
}

TYPED_TEST(RemoteTest, StoresNoMoreThanWasAskedFor) {
    constexpr TypeParam before = untouched<TypeParam>;
    using Values = std::vector<TypeParam>;
    this->reply({success({1, 2, 3, 4})});
    EXPECT_EQ(readBurstFrom(this->device(), 2, 4), std::pair(true, Values{1, 2, before, before}));
    EXPECT_EQ(readBurstFrom(this->device(), 0, 4), std::pair(true, Values(4, before)));
}

TYPED_TEST(RemoteTest, NeverTrustsTheLengthOfAResponse) {
    constexpr auto value = static_cast<TypeParam>(0x33333333);
    std::vector<TypeParam> expected(128, value);
    expected.resize(200, untouched<TypeParam>);
    for (const std::uint32_t length : {129U, 0xFFFFFFFFU}) {
        Bytes bytes(520, 0x33);
        put(bytes, 0, 0);
        put(bytes, 516, length);
        this->reply({{{bytes}}, {{bytes}}});
        EXPECT_EQ(readBurstFrom(this->device(), 200, 200), std::pair(true, expected));
        EXPECT_EQ(this->read(), std::pair(true, value));
    }
}

TYPED_TEST(RemoteTest, AsksForUpTo128ItemsAndForNoItemsOfALongerBurst) {
    const auto readBurst = [this](unsigned int items) {
        return readBurstFrom(this->device(), items, 200, ByteOrder::Network);
    };
    const std::vector<TypeParam> nothing(200, untouched<TypeParam>);
    readBurst(128);
    EXPECT_EQ(this->onlyRequest(), requestOf(readType<TypeParam>, {{lengthAt, 128}}));
    for (const unsigned int items : {0U, 129U, 200U}) {
        EXPECT_EQ(readBurst(items), std::pair(true, nothing));
        EXPECT_EQ(this->onlyRequest(), requestOf(readType<TypeParam>));
        this->reply({refusal()});
        EXPECT_EQ(readBurst(items), std::pair(false, nothing));
        this->onlyRequest();
    }
}

TYPED_TEST(RemoteTest, StoresAllItemsOfAFullResponse) {
    std::vector<std::uint32_t> sent(128);
    std::iota(sent.begin(), sent.end(), 1);
    this->reply({success(sent)});
    EXPECT_EQ(readBurstFrom(this->device(), 128, 128),
              std::pair(true, std::vector<TypeParam>(sent.begin(), sent.end())));
}

TYPED_TEST(RemoteTest, WritesARegisterWithOneRequestThatCarriesAnyMaskToTheServer) {
    const std::vector<WordAt> words{{addressAt, 0x20}, {valuesAt, static_cast<TypeParam>(0xA1B2C3D4)}, {lengthAt, 1}};
    EXPECT_TRUE(this->device().write(0x20, static_cast<TypeParam>(0xA1B2C3D4)));
    EXPECT_EQ(this->onlyRequest(), requestOf(writeType<TypeParam>, words));
    for (const TypeParam mask : {TypeParam{0}, TypeParam{0x0F}, TypeParam{0xA0}, this->all}) {
        auto withMask = words;
        withMask.emplace_back(maskAt, mask);
        EXPECT_TRUE(this->device().write(0x20, static_cast<TypeParam>(0xA1B2C3D4), mask));
        EXPECT_EQ(this->onlyRequest(), requestOf(writeType<TypeParam>, withMask));
    }
}

TYPED_TEST(RemoteTest, AccessesRegistersWithTheResultOfTheServer) {
    TypeParam values[2] = {};
    const std::function<bool()> operations[] = {
        [&] { return this->device().read(0, values); },
        [&] { return this->device().read(0, values, 2, ByteOrder::Host); },
        [&] { return this->device().write(0, TypeParam{1}); },
        [&] { return this->device().write(0, TypeParam{1}, TypeParam{2}); },
        [&] { return this->device().write(0, values, 2, ByteOrder::Host); },
        [&] { return this->device().enableInterrupt(); },
        [&] { return this->device().disableInterrupt(); },
    };
    for (const auto& operation : operations) {
        this->m_device = this->make();
        this->expectTheResultOfTheServer(operation);
    }
}

TYPED_TEST(RemoteTest, WritesABurstWithOneRequestInEitherOrder) {
    const TypeParam values[] = {1, this->all, 3};
    for (const auto byteOrder : {ByteOrder::Host, ByteOrder::Network}) {
        EXPECT_TRUE(this->device().write(0x10, values, 3, byteOrder));
        EXPECT_EQ(this->onlyRequest(),
                  requestOf(writeType<TypeParam>, {{addressAt, 0x10},
                                                   {valuesAt, 1},
                                                   {valuesAt + 4, this->all},
                                                   {valuesAt + 8, 3},
                                                   {lengthAt, 3},
                                                   {byteOrderAt, byteOrder == ByteOrder::Network ? 0 : 1}}));
    }
}

TYPED_TEST(RemoteTest, WritesTheFirst128ItemsOfABurst) {
    std::vector<TypeParam> values(200);
    std::iota(values.begin(), values.end(), TypeParam{1});
    EXPECT_TRUE(this->device().write(0, values.data(), 200, ByteOrder::Network));
    EXPECT_EQ(this->onlyRequest(), requestOf(writeType<TypeParam>, valueWords({values.begin(), values.begin() + 128})));
    EXPECT_TRUE(this->device().write(0, values.data(), 0, ByteOrder::Network));
    EXPECT_EQ(this->onlyRequest(), requestOf(writeType<TypeParam>));
    this->reply({refusal()});
    EXPECT_FALSE(this->device().write(0, values.data(), 200, ByteOrder::Network));
}

TYPED_TEST(RemoteTest, ForwardsARequestToTheDriverWithItsArgumentAndIgnoresTheServersValues) {
    EXPECT_EQ(this->device().ioctl(-2, 0x89ABCDEF), 0);
    EXPECT_EQ(this->onlyRequest(),
              requestOf(RequestType::Ioctl, {{valuesAt, 0x89ABCDEF}, {lengthAt, 1}, {maskAt, 0xFFFFFFFE}}));
    this->reply({success({5})});
    EXPECT_EQ(this->device().ioctl(0, 0), 0);
    EXPECT_EQ(this->onlyRequest(), requestOf(RequestType::Ioctl, {{lengthAt, 1}}));
    this->expectTheResultOfTheServer([&] {
        const int result = this->device().ioctl(1, 2);
        EXPECT_TRUE(result == 0 || result == -1);
        return result == 0;
    });
}

TYPED_TEST(RemoteTest, AsksTheServerForTheInterruptType) {
    this->reply({success({0xFFFFFFFF}), refusal({5}), refusal()});
    EXPECT_EQ(interruptTypeOf(this->device()), std::pair(true, 0xFFFFFFFFUL));
    EXPECT_EQ(this->onlyRequest(), requestOf(RequestType::GetInterruptType));
    EXPECT_EQ(interruptTypeOf(this->device()), std::pair(false, 5UL));
    EXPECT_EQ(interruptTypeOf(this->device()), std::pair(false, 0UL));
    this->expectTheResultOfTheServer([&] {
        const auto [result, type] = interruptTypeOf(this->device());
        EXPECT_EQ(type, 0U);
        return result;
    });
}

TYPED_TEST(RemoteTest, LetsTheServerEnableAndDisableInterrupts) {
    EXPECT_TRUE(this->device().enableInterrupt());
    EXPECT_EQ(this->onlyRequest(), requestOf(RequestType::EnableInterrupt));
    EXPECT_TRUE(this->device().disableInterrupt());
    EXPECT_EQ(this->onlyRequest(), requestOf(RequestType::DisableInterrupt));
}

TYPED_TEST(RemoteTest, ReceivesAnInterruptWordOrItsFirstBytesWithoutARequest) {
    this->device();
    for (const auto& [bytes, word] :
         std::vector<std::pair<Bytes, unsigned long>>{{{0x12, 0x34, 0x56, 0x78}, 0x12345678},
                                                      {{0xFF, 0xFF, 0xFF, 0xFF}, 0xFFFFFFFF},
                                                      {{0, 0, 0, 0}, 0},
                                                      {{0x12, 0x34}, 0x12340000}}) {
        this->m_peer.send(interrupts, bytes);
        EXPECT_EQ(waitForInterruptOf(this->device()), std::pair(true, word));
    }
    EXPECT_EQ(this->m_peer.requests(0).size(), 0U);
}

TYPED_TEST(RemoteTest, KeepsTheInterruptWordWhenTheServerClosesTheInterruptConnection) {
    const int descriptor = this->device().getNativeHandle();
    this->m_peer.close(interrupts);
    const TraceRecorder recorder(1);
    EXPECT_EQ(waitForInterruptOf(this->device()), std::pair(false, untouched<unsigned long>));
    EXPECT_EQ(waitForInterruptOf(this->device()), std::pair(false, untouched<unsigned long>));
    EXPECT_EQ(this->device().getNativeHandle(), descriptor);
    const std::string closed = "Rynvel.Connection 1 receive: Socket '" + std::to_string(descriptor) + "' is closed.";
    EXPECT_EQ(recorder.lines(), (EventLog{closed, closed}));
    EXPECT_TRUE(this->read().first);
}

TYPED_TEST(RemoteTest, HasANativeHandleThatIsReadyWhenThereIsAnInterrupt) {
    pollfd ready{this->device().getNativeHandle(), POLLIN, 0};
    EXPECT_EQ(poll(&ready, 1, 0), 0);
    this->m_peer.send(interrupts, {0, 0, 0, 1});
    EXPECT_EQ(poll(&ready, 1, -1), 1);
    EXPECT_EQ(waitForInterruptOf(this->device()), std::pair(true, 1UL));
}

TYPED_TEST(RemoteTest, ServesRegistersWhileAThreadWaitsForAnInterrupt) {
    auto& device = this->device();
    auto wait = std::async(std::launch::async, [&device] { return waitForInterruptOf(device); });
    for (unsigned int i = 0; i < 100; ++i) {
        this->reply({success({i})});
        EXPECT_EQ(this->read(i), std::pair(true, static_cast<TypeParam>(i)));
    }
    this->m_peer.send(interrupts, {0, 0, 0, 9});
    EXPECT_EQ(wait.get(), std::pair(true, 9UL));
}

TYPED_TEST(RemoteTest, CancelsAWaitByASingleWrite) {
    Device<TypeParam>& device = this->device();
    EXPECT_TRUE(device.cancelWaitForInterrupt(0x30, 7));
    EXPECT_EQ(this->onlyRequest(), requestOf(writeType<TypeParam>, {{addressAt, 0x30}, {valuesAt, 7}, {lengthAt, 1}}));
}

TYPED_TEST(RemoteTest, TracesItsEntriesWithTheirArgumentsAndTakesNoLock) {
    TypeParam values[2] = {};
    auto& device = this->device();
    this->m_peer.send(interrupts, {0, 0, 0, 1});
    const TraceRecorder recorder(6, "Rynvel.Remote");
    device.read(0x1F0, values);
    device.read(0x1F0, values, 2, ByteOrder::Network);
    device.write(0x1F0, 0xA);
    device.write(0x1F0, 0xA, this->all);
    device.write(0x1F0, values, 2, ByteOrder::Host);
    device.cancelWaitForInterrupt(0x1F0, 0xA);
    device.ioctl(-3, 70000);
    interruptTypeOf(device);
    device.enableInterrupt();
    device.disableInterrupt();
    waitForInterruptOf(device);
    device.open();
    device.getNativeHandle();
    const std::string read = "Rynvel.Remote 6 read ENTER Hex(address)=0x000001f0";
    const std::string write = "Rynvel.Remote 6 write ENTER Hex(address)=0x000001f0";
    const std::string data = ", Hex(data)=0x" + std::string(2 * sizeof(TypeParam) - 1, '0') + "a";
    const std::string mask = ", Hex(bitmask)=0x" + std::string(2 * sizeof(TypeParam), 'f');
    EXPECT_EQ(
        recorder.lines(),
        (EventLog{read, read + ", items=2, byteOrder=Network", write + data, write + data + mask,
                  write + ", items=2, byteOrder=Host", write + data,
                  "Rynvel.Remote 6 ioctl ENTER command=-3, arg=70000", "Rynvel.Remote 6 getInterruptType ENTER",
                  "Rynvel.Remote 6 enableInterrupt ENTER", "Rynvel.Remote 6 disableInterrupt ENTER",
                  "Rynvel.Remote 6 waitForInterrupt ENTER", "Rynvel.Remote 6 open ENTER this->getDevName()=traf.top"}));
    EXPECT_EQ(recorder.traces()[0].option, 256);
    EXPECT_EQ(recorder.traces()[0].file, "cppsrc/RynvelRemote");
    EXPECT_EQ(this->m_log, EventLog{});
    this->m_device.reset();
    EXPECT_EQ(this->m_log, EventLog{"mutex destroyed"});
}

TYPED_TEST(RemoteTest, LeavesItsConnectionsOpenAndSendsNothingWhenItIsDestroyed) {
    const int descriptor = this->device().getNativeHandle();
    const NothingTraced nothingTraced(7);
    this->m_device.reset();
    EXPECT_EQ(this->m_peer.requests(0).size(), 0U);
    this->m_peer.send(interrupts, {0, 0, 0, 1});
    std::uint32_t word = 0;
    EXPECT_EQ(recv(descriptor, &word, sizeof(word), MSG_WAITALL), 4);
}

TYPED_TEST(RemoteTest, LeavesItsTwoDescriptorsToTheProgramToClose) {
    const int descriptors[] = {this->device().open(), this->device().getNativeHandle()};
    this->m_device.reset();
    for (const int descriptor : descriptors) {
        EXPECT_EQ(close(descriptor), 0);
        EXPECT_EQ(close(descriptor), -1);
    }
}

TYPED_TEST(RemoteTest, TracesItsConstructionInTheOrderOfItsSteps) {
    const TraceRecorder recorder(6);
    this->m_peer.script({refusal()});
    this->make();
    const std::string link = "Rynvel.RemoteDeviceConnection ";
    const std::string succeeded = link + "3 connect: Connection succeeded to 127.0.0.1 at port " +
                                  std::to_string(this->m_peer.port()) + " at attempt 1";
    EXPECT_EQ(recorder.lines(),
              (EventLog{link + "6 RemoteDeviceConnection ENTER", link + "6 RemoteDeviceConnection ENTER",
                        "Rynvel.Remote 6 Remote ENTER", link + "6 connect ENTER", link + "6 connectToServer ENTER",
                        succeeded, link + "6 connect ENTER", link + "6 connectToServer ENTER", succeeded,
                        "Rynvel.Remote 6 open ENTER this->getDevName()=traf.top",
                        "Rynvel.Connection 6 send ENTER message=Request: [ type: Open, byteOrder: Network, "
                        "logicalDeviceName: traf.top, address: 0, bitmask: 0, command: 0, length: 0, values: { } ]",
                        "Rynvel.Connection 6 receive ENTER"}));
    EXPECT_FALSE(recorder.traces()[2].hasText);
}

TYPED_TEST(RemoteTest, RendersRequestsAndResponsesAtLevelSeven) {
    this->reply({success({0x1F}), closing()});
    const TraceRecorder recorder(7, "Rynvel.Remote");
    this->read(0x10);
    this->device().enableInterrupt();
    const std::string request = "Rynvel.Remote 7 sendToServer: Request: [ type: ";
    const std::string common = ", byteOrder: Network, logicalDeviceName: traf.top, address: ";
    const std::string response = "Rynvel.Remote 7 sendToServer: Response: [ result: ";
    EXPECT_EQ(recorder.lines(),
              (EventLog{"Rynvel.Remote 6 read ENTER Hex(address)=0x00000010",
                        request + "Read" + std::to_string(8 * sizeof(TypeParam)) + common +
                            "10, bitmask: 0, command: 0, length: 1, values: { 0, } ]",
                        response + "Success, length: 1, values: { 1f, } ]", "Rynvel.Remote 6 enableInterrupt ENTER",
                        request + "EnableInterrupt" + common + "0, bitmask: 0, command: 0, length: 0, values: { } ]",
                        response + "Error, length: 0, values: { } ]"}));
}

TYPED_TEST(RemoteTest, ExchangesAnyRequestOnTheConnectionThatItIsGiven) {
    auto& device = this->device();
    Rynvel::RemoteDeviceConnection connection("127.0.0.1", this->m_peer.port());
    connection.connect();
    const Request request(RequestData::Type::Debug, "other");
    this->reply({refusal({1, 0xFFFFFFFF})});
    const Response response = device.sendToServer(request, connection);
    EXPECT_EQ(response.getResult(), ResponseData::Result::Error);
    EXPECT_EQ(response.getLength(), 2U);
    EXPECT_EQ(response.getValue(1), 0xFFFFFFFFU);
    const auto received = this->m_peer.requests(1);
    EXPECT_EQ(received[0].connection, 2U);
    EXPECT_EQ(received[0].bytes, requestOf(RequestType::Debug, {}, "other"));
    this->reply({closing()});
    Response error;
    error.setResult(ResponseData::Result::Error);
    EXPECT_EQ(bytesOf(device.sendToServer(request, connection)), bytesOf(error));
    EXPECT_GE(connection.getSocketDescriptor(), 0);
    connection.close();
    const TraceRecorder recorder(1);
    EXPECT_EQ(bytesOf(device.sendToServer(request, connection)), bytesOf(error));
    EXPECT_EQ(recorder.lines(),
              EventLog{"Rynvel.Connection 1 send: Sending to socket '-1' failed with: Bad file descriptor"});
}

TYPED_TEST(RemoteTest, TakesTheHostAndThePortFromTheAddressSilently) {
    const NothingTraced nothingTraced(7);
    const std::vector<std::tuple<std::string, std::string, int>> addresses{{"10.0.0.7::9000", "10.0.0.7", 9000},
                                                                           {"server", "server", 8888},
                                                                           {"server:9000", "server:9000", 8888},
                                                                           {"", "", 8888},
                                                                           {"::9000", "", 9000},
                                                                           {"::1", "", 1},
                                                                           {"a::9000x", "a", 9000},
                                                                           {"a:: \t9000", "a", 9000},
                                                                           {"a::9000::1", "a", 9000},
                                                                           {"a::+7", "a", 7},
                                                                           {"a::-1", "a", -1},
                                                                           {"a::0x10", "a", 0},
                                                                           {"a::70000", "a", 70000},
                                                                           {"a::2147483647", "a", 2147483647}};
    for (const auto& [address, host, port] : addresses) {
        EXPECT_EQ(Remote<TypeParam>::getIp(address), host) << address;
        EXPECT_EQ(Remote<TypeParam>::getPort(address), port) << address;
    }
}

TYPED_TEST(RemoteTest, UsesTheDefaultPortAndTracesThatWhenTheTextIsNotANumber) {
    for (const std::string port :
         {"", " ", "abc", "x9000", ":9000", ":1", "b::c", "2147483648", "-2147483649", "99999999999999"}) {
        const TraceRecorder recorder(1);
        EXPECT_EQ(Remote<TypeParam>::getIp("host::" + port), "host") << port;
        EXPECT_EQ(Remote<TypeParam>::getPort("host::" + port), 8888) << port;
        EXPECT_EQ(recorder.lines(), EventLog{"Rynvel.Remote 1 getPort: Invalid port argument, using default instead"});
    }
    const NothingTraced nothingTraced(0);
    EXPECT_EQ(Remote<TypeParam>::getPort("host::abc"), 8888);
}

/** A fixture for devices on a scripted operating system, whose resolver finds the server at 10.0.0.7. */
template <typename T>
class ScriptedRemote : public testing::Test {
protected:
    ScriptedRemote() { m_os.hosts = {{"server", {10, 0, 0, 7}}}; }

    std::unique_ptr<Remote<T>> make(const std::string& address = "server::9000") {
        return std::make_unique<Remote<T>>(name, address, std::make_unique<RecordingMutex>(m_os.log()));
    }

    std::unique_ptr<Remote<T>> opened() {
        auto device = make();
        m_os.log().clear();
        return device;
    }

    /** Returns the recorded calls whose texts begin with `begin`. */
    EventLog calls(const std::string& begin) {
        EventLog found;
        std::copy_if(m_os.log().begin(), m_os.log().end(), std::back_inserter(found),
                     [&](const std::string& call) { return call.rfind(begin, 0) == 0; });
        return found;
    }

    const TraceRecorder m_silence{0};
    ScriptedOs m_os;
};

TYPED_TEST_SUITE(ScriptedRemote, Widths);

TYPED_TEST(ScriptedRemote, ConnectsTwiceToTheServerThatTheAddressNamesAtTheLower16BitsOfItsPort) {
    const std::string invalid = "Rynvel.Remote 1 getPort: Invalid port argument, using default instead";
    const std::vector<std::tuple<std::string, std::string, EventLog>> places{
        {"server::9000", "9000", {}},
        {"server", "8888", {}},
        {"server::abc", "8888", {invalid, invalid}},
        {"server::70000", "4464", {}},
        {"server::-1", "65535", {}}};
    // The scripted operating system reads every answer from this memory, so the memory must have room for all answers.
    this->m_os.memory.resize(16384);
    for (const auto& [address, port, lines] : places) {
        this->m_os.log().clear();
        const TraceRecorder recorder(1);
        this->make(address);
        const std::string connection = "connect(7, 10.0.0.7:" + port + ", 16)";
        EXPECT_EQ(this->calls("gethostbyname"), (EventLog{"gethostbyname(server)", "gethostbyname(server)"}));
        EXPECT_EQ(this->calls("connect"), (EventLog{connection, connection}));
        EXPECT_EQ(recorder.lines(), lines);
    }
}

TYPED_TEST(ScriptedRemote, WaitsForBothConnectionsBeforeItSendsAnything) {
    this->m_os.script(Call::Connect, {failing(ECONNREFUSED), asUsual, failing(ECONNREFUSED)});
    this->make();
    const auto firstSend = std::find_if(this->m_os.log().begin(), this->m_os.log().end(),
                                        [](const std::string& call) { return call.rfind("send", 0) == 0; });
    const EventLog attempt{"socket(2, 1, 0)", "connect(7, 10.0.0.7:9000, 16)"};
    EXPECT_EQ(
        EventLog(this->m_os.log().begin(), firstSend),
        (EventLog{"gethostbyname(server)", "gethostbyname(server)", attempt[0], attempt[1], "close(7)", "sleep(3)",
                  attempt[0], attempt[1], attempt[0], attempt[1], "close(7)", "sleep(3)", attempt[0], attempt[1]}));
}

TYPED_TEST(ScriptedRemote, MakesOneSendAndOneReceiveForARead) {
    const auto device = this->opened();
    readFrom(*device);
    ASSERT_EQ(this->m_os.log().size(), 2U);
    EXPECT_EQ(this->calls("send").size(), 1U);
    EXPECT_EQ(this->m_os.log()[1], "read(7, 520)");
}

TYPED_TEST(ScriptedRemote, ReceivesNothingWhenASendFails) {
    const auto device = this->opened();
    this->m_os.script(Call::Send, {failing(EPIPE)});
    EXPECT_EQ(readFrom(*device), std::pair(false, TypeParam{0}));
    EXPECT_EQ(this->m_os.log().size(), 1U);
}

TYPED_TEST(ScriptedRemote, WaitsForInterruptsOnADescriptorOfZeroByOneRead) {
    this->m_os.script(Call::Socket, {answering(5), answering(0)});
    const auto device = this->opened();
    EXPECT_TRUE(waitForInterruptOf(*device).first);
    EXPECT_EQ(this->m_os.log(), EventLog{"read(0, 4)"});
}

TEST(Remote, EndsTheProcessBySigpipeWhenTheServerIsGone) {
    EXPECT_EXIT(
        {
            const TraceRecorder silence(0);
            EventLog log;
            TestPeer peer;
            Remote<std::uint8_t> device(name, peer.address(), std::make_unique<RecordingMutex>(log));
            peer.script({closing()});
            for (int round = 0; round < 3; ++round) {
                readFrom(device);
            }
        },
        testing::KilledBySignal(SIGPIPE), "");
}

/** Returns the table row that an integrator would add for a device of the peer. */
Rynvel::MemoryDevice row(DeviceType type, const TestPeer& peer) { return {name, peer.address(), 0U, type}; }

template <typename T>
bool isBuiltAs(DeviceType type) {
    const TraceRecorder silence(0);
    EventLog log;
    TestPeer peer;
    const auto device =
        Rynvel::Factory::getInstance().createDevice(row(type, peer), std::make_unique<RecordingMutex>(log));
    if (dynamic_cast<Remote<T>*>(device.get()) == nullptr) {
        return false;
    }
    EXPECT_EQ(peer.requests(3)[0].bytes, requestOf(RequestType::Open));
    return true;
}

TEST(Remote, IsBuiltByTheFactoryForTheRemoteTypesFromNameAndPath) {
    EXPECT_TRUE(isBuiltAs<std::uint8_t>(DeviceType::Remote8));
    EXPECT_TRUE(isBuiltAs<std::uint16_t>(DeviceType::Remote16));
    EXPECT_TRUE(isBuiltAs<std::uint32_t>(DeviceType::Remote32));
}

} // namespace
