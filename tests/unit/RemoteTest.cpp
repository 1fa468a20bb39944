#include <algorithm>
#include <chrono>
#include <csignal>
#include <functional>
#include <future>
#include <limits>
#include <numeric>
#include <tuple>
#include <type_traits>

#include <gtest/gtest.h>
#include <poll.h>
#include <rynvel.hpp>
#include <sys/socket.h>
#include <unistd.h>

#include "MessageBytes.h"
#include "RecordingMutex.h"
#include "RequestBytes.h"
#include "ScriptedOs.h"
#include "TestPeer.h"
#include "TraceRecorder.h"

namespace {

using namespace Rynvel;
using namespace RynvelTest;

constexpr auto name = "traf.top";
constexpr std::size_t requests = 0;
constexpr std::size_t interrupts = 1;
constexpr unsigned long untouched = 0x55;

/** The bytes of a request that carries the device's name, and the words at their offsets. */
Bytes requestOf(RequestType type, const std::vector<WordAt>& words = {}, const std::string& deviceName = name) {
    return requestBytes(type, deviceName, words);
}

/** Lets writing to a peer that is gone fail instead of ending the test. */
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

    /** The one request since the device was opened; it came over the connection of the requests. */
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

    void reply(const Reply& answer) { m_peer.script({answer}); }

    /** Expects the operation to give the result that the server gives, and a failure when there is no answer. */
    template <typename Operation>
    void expectTheResultOfTheServer(Operation operation) {
        device();
        EXPECT_TRUE(operation());
        reply(refusal());
        EXPECT_FALSE(operation());
        Response odd;
        odd.setResult(static_cast<ResponseData::Result>(1));
        reply(answer(odd));
        EXPECT_FALSE(operation());
        reply(closing());
        EXPECT_FALSE(operation());
        EXPECT_FALSE(operation());
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

TYPED_TEST(RemoteTest, StopsAnnouncingItselfWhenTheServerRefusesItButExists) {
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
    TypeParam value = 0;
    this->reply(success({7}));
    EXPECT_TRUE(device->read(0, &value));
    EXPECT_EQ(value, 7);
    this->m_peer.send(interrupts, {0, 0, 0, 1});
    unsigned long status = 0;
    EXPECT_TRUE(device->waitForInterrupt(&status));
    EXPECT_EQ(status, 1U);
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

TYPED_TEST(RemoteTest, HasNoInterruptsWhenTheServerRefusesThemButRegisters) {
    this->m_peer.script({success(), success(), refusal()});
    EXPECT_EQ(this->device().getNativeHandle(), -1);
    unsigned long status = untouched;
    const TraceRecorder recorder(1);
    EXPECT_FALSE(this->device().waitForInterrupt(&status));
    EXPECT_EQ(status, untouched);
    EXPECT_EQ(recorder.lines(), EventLog{});
    TypeParam value = 0;
    this->reply(success({7}));
    EXPECT_TRUE(this->device().read(0, &value));
    EXPECT_EQ(value, 7);
    EXPECT_TRUE(this->device().write(0, 1));
}

TYPED_TEST(RemoteTest, CutsANameTo127Characters) {
    const std::string longName(200, 'n');
    const auto device = this->make(longName);
    EXPECT_EQ(this->m_peer.requests(1)[0].bytes, requestOf(RequestType::Open, {}, longName.substr(0, 127)));
    EXPECT_EQ(device->getDevName(), longName);
}

TYPED_TEST(RemoteTest, ReadsARegisterByOneRequest) {
    this->device();
    this->reply(success({0x12345678}));
    TypeParam value = 0;
    EXPECT_TRUE(this->device().read(0x1F0, &value));
    EXPECT_EQ(value, static_cast<TypeParam>(0x12345678));
    EXPECT_EQ(this->onlyRequest(), requestOf(readType<TypeParam>, {{addressAt, 0x1F0}, {lengthAt, 1}}));
}

TYPED_TEST(RemoteTest, PassesEveryAddressThrough) {
    TypeParam value = 0;
    this->device().read(0xFFFFFFFF, &value);
    EXPECT_EQ(this->onlyRequest(), requestOf(readType<TypeParam>, {{addressAt, 0xFFFFFFFF}, {lengthAt, 1}}));
}

TYPED_TEST(RemoteTest, StoresTheValueReadAlsoWhenTheReadFails) {
    TypeParam value = untouched;
    this->device();
    this->m_peer.script({refusal({9}), refusal(), success()});
    EXPECT_FALSE(this->device().read(0, &value));
    EXPECT_EQ(value, 9);
    EXPECT_FALSE(this->device().read(0, &value));
    EXPECT_EQ(value, 0);
    value = untouched;
    EXPECT_TRUE(this->device().read(0, &value));
    EXPECT_EQ(value, 0);
}

TYPED_TEST(RemoteTest, ReadsZeroAndFailsFromALostConnection) {
    this->device();
    const TraceRecorder recorder(1);
    this->reply(closing());
    for (int round = 0; round < 3; ++round) {
        TypeParam value = untouched;
        EXPECT_FALSE(this->device().read(0, &value));
        EXPECT_EQ(value, 0);
        EXPECT_EQ(recorder.traces().size(), static_cast<std::size_t>(round + 1));
    }
    const std::string first = recorder.lines()[0];
    EXPECT_EQ(first.rfind("Rynvel.Connection 1 receive: Socket '", 0), 0U) << first;
    EXPECT_NE(first.find("' is closed."), std::string::npos);
    EXPECT_NE(recorder.lines()[2].find("' failed with: Broken pipe"), std::string::npos) << recorder.lines()[2];
}

TYPED_TEST(RemoteTest, TakesATruncatedResponseForWhatCameOfIt) {
    this->device();
    Response response;
    response.addValue(3);
    this->reply(truncated(response, 100));
    TypeParam value = untouched;
    EXPECT_TRUE(this->device().read(0, &value));
    EXPECT_EQ(value, 0);
}

TYPED_TEST(RemoteTest, TakesTheRestOfASplitResponseForTheNextOne) {
    this->device();
    Response response;
    response.addValue(3);
    response.addValue(4);
    this->reply(split(response, 8));
    TypeParam value = untouched;
    EXPECT_TRUE(this->device().read(0, &value));
    EXPECT_EQ(value, 0);
    this->m_peer.letGo();
    // Its second value, 4, stands where the result is expected.
    EXPECT_FALSE(this->device().read(0, &value));
    EXPECT_EQ(value, 0);
}

TYPED_TEST(RemoteTest, WaitsForAResponseForAsLongAsItTakes) {
    this->device();
    Response response;
    response.addValue(3);
    this->reply(delayed(response));
    TypeParam value = 0;
    auto read = std::async(std::launch::async, [&] { return this->device().read(0, &value); });
    this->m_peer.requests(1);
    EXPECT_EQ(read.wait_for(std::chrono::seconds(0)), std::future_status::timeout);
    this->m_peer.letGo();
    EXPECT_TRUE(read.get());
    EXPECT_EQ(value, 3);
}

TYPED_TEST(RemoteTest, WaitsForASilentServerUntilTheConnectionEnds) {
    this->device();
    this->reply(silence());
    TypeParam value = untouched;
    auto read = std::async(std::launch::async, [&] { return this->device().read(0, &value); });
    this->m_peer.requests(1);
    EXPECT_EQ(read.wait_for(std::chrono::seconds(0)), std::future_status::timeout);
    this->m_peer.close(requests);
    EXPECT_FALSE(read.get());
    EXPECT_EQ(value, 0);
}

TYPED_TEST(RemoteTest, ReadsABurstByOneRequestInEitherOrder) {
    for (const auto byteOrder : {ByteOrder::Host, ByteOrder::Network}) {
        this->device();
        this->reply(success({0x11111111, 0x22222222, 0x12345678}));
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

TYPED_TEST(RemoteTest, LeavesTheItemsThatTheServerDoesNotSendAlone) {
    this->device();
    for (const auto& [reply, result] : {std::pair{success({1, 2, 3, 4}), true}, {refusal({1, 2, 3, 4}), false}}) {
        std::vector<TypeParam> values(10, untouched);
        this->reply(reply);
        EXPECT_EQ(this->device().read(0, values.data(), 10, ByteOrder::Host), result);
        EXPECT_EQ(values, (std::vector<TypeParam>{1, 2, 3, 4, 0x55, 0x55, 0x55, 0x55, 0x55, 0x55}));
    }
}

TYPED_TEST(RemoteTest, StoresNoMoreThanWasAskedFor) {
    this->device();
    this->reply(success({1, 2, 3, 4}));
    std::vector<TypeParam> values(4, untouched);
    EXPECT_TRUE(this->device().read(0, values.data(), 2, ByteOrder::Host));
    EXPECT_EQ(values, (std::vector<TypeParam>{1, 2, 0x55, 0x55}));
    EXPECT_TRUE(this->device().read(0, values.data(), 0, ByteOrder::Host));
    EXPECT_EQ(values, (std::vector<TypeParam>{1, 2, 0x55, 0x55}));
}

TYPED_TEST(RemoteTest, NeverTrustsTheLengthOfAResponse) {
    this->device();
    for (const std::uint32_t length : {129U, 0xFFFFFFFFU}) {
        Bytes bytes(520, 0x33);
        put(bytes, 0, 0);
        put(bytes, 516, length);
        this->m_peer.script({{{bytes}}, {{bytes}}});
        std::vector<TypeParam> values(200, untouched);
        EXPECT_TRUE(this->device().read(0, values.data(), 200, ByteOrder::Host));
        std::vector<TypeParam> expected(128, static_cast<TypeParam>(0x33333333));
        expected.resize(200, untouched);
        EXPECT_EQ(values, expected);
        TypeParam value = 0;
        EXPECT_TRUE(this->device().read(0, &value));
        EXPECT_EQ(value, static_cast<TypeParam>(0x33333333));
    }
}

TYPED_TEST(RemoteTest, AsksForUpTo128ItemsAndForNoneOfMore) {
    std::vector<TypeParam> values(200);
    this->device().read(0, values.data(), 128, ByteOrder::Network);
    EXPECT_EQ(this->onlyRequest(), requestOf(readType<TypeParam>, {{lengthAt, 128}}));
    for (const unsigned int items : {0U, 129U, 200U}) {
        std::fill(values.begin(), values.end(), untouched);
        EXPECT_TRUE(this->device().read(0, values.data(), items, ByteOrder::Network));
        EXPECT_EQ(this->onlyRequest(), requestOf(readType<TypeParam>));
        this->reply(refusal());
        EXPECT_FALSE(this->device().read(0, values.data(), items, ByteOrder::Network));
        this->onlyRequest();
        EXPECT_EQ(values, std::vector<TypeParam>(200, untouched));
    }
}

TYPED_TEST(RemoteTest, StoresAllItemsOfAFullResponse) {
    this->device();
    std::vector<std::uint32_t> sent(128);
    std::iota(sent.begin(), sent.end(), 1);
    this->reply(success(sent));
    std::vector<TypeParam> values(128);
    EXPECT_TRUE(this->device().read(0, values.data(), 128, ByteOrder::Host));
    EXPECT_EQ(values, std::vector<TypeParam>(sent.begin(), sent.end()));
}

TYPED_TEST(RemoteTest, WritesARegisterByOneRequest) {
    EXPECT_TRUE(this->device().write(0x20, static_cast<TypeParam>(0xA1B2C3D4)));
    EXPECT_EQ(this->onlyRequest(),
              requestOf(writeType<TypeParam>,
                        {{addressAt, 0x20}, {valuesAt, static_cast<TypeParam>(0xA1B2C3D4)}, {lengthAt, 1}}));
}

TYPED_TEST(RemoteTest, WritesUnderAMaskByOneRequest) {
    EXPECT_TRUE(this->device().write(0x20, static_cast<TypeParam>(0xA1B2C3D4), this->all));
    EXPECT_EQ(this->onlyRequest(), requestOf(writeType<TypeParam>, {{addressAt, 0x20},
                                                                    {valuesAt, static_cast<TypeParam>(0xA1B2C3D4)},
                                                                    {lengthAt, 1},
                                                                    {maskAt, this->all}}));
}

TYPED_TEST(RemoteTest, WritesUnderAMaskOfZeroByTheRequestOfAPlainWrite) {
    EXPECT_TRUE(this->device().write(0x20, TypeParam{7}));
    const Bytes plain = this->onlyRequest();
    EXPECT_TRUE(this->device().write(0x20, TypeParam{7}, TypeParam{0}));
    EXPECT_EQ(this->onlyRequest(), plain);
}

TYPED_TEST(RemoteTest, SendsTheMaskAsItIsAndLeavesItsUseToTheServer) {
    for (const TypeParam mask : {TypeParam{0}, TypeParam{0x0F}, TypeParam{0xA0}}) {
        EXPECT_TRUE(this->device().write(0x20, this->all, mask));
        EXPECT_EQ(
            this->onlyRequest(),
            requestOf(writeType<TypeParam>, {{addressAt, 0x20}, {valuesAt, this->all}, {lengthAt, 1}, {maskAt, mask}}));
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

TYPED_TEST(RemoteTest, WritesABurstByOneRequestInEitherOrder) {
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
    std::vector<WordAt> words{{lengthAt, 128}};
    for (std::size_t i = 0; i < values.size(); ++i) {
        values[i] = static_cast<TypeParam>(i + 1);
        if (i < 128) {
            words.emplace_back(valuesAt + 4 * i, values[i]);
        }
    }
    EXPECT_TRUE(this->device().write(0, values.data(), 200, ByteOrder::Network));
    EXPECT_EQ(this->onlyRequest(), requestOf(writeType<TypeParam>, words));
    EXPECT_TRUE(this->device().write(0, values.data(), 0, ByteOrder::Network));
    EXPECT_EQ(this->onlyRequest(), requestOf(writeType<TypeParam>));
    this->reply(refusal());
    EXPECT_FALSE(this->device().write(0, values.data(), 200, ByteOrder::Network));
}

TYPED_TEST(RemoteTest, ForwardsARequestToTheDriverWithItsArgument) {
    EXPECT_EQ(this->device().ioctl(-2, 0x89ABCDEF), 0);
    EXPECT_EQ(this->onlyRequest(),
              requestOf(RequestType::Ioctl, {{valuesAt, 0x89ABCDEF}, {lengthAt, 1}, {maskAt, 0xFFFFFFFE}}));
    this->expectTheResultOfTheServer([&] {
        const int result = this->device().ioctl(1, 2);
        EXPECT_TRUE(result == 0 || result == -1);
        return result == 0;
    });
}

TYPED_TEST(RemoteTest, SendsARequestsArgumentAlsoWhenItIsZeroAndIgnoresTheServersValues) {
    this->device();
    this->reply(success({5}));
    EXPECT_EQ(this->device().ioctl(0, 0), 0);
    EXPECT_EQ(this->onlyRequest(), requestOf(RequestType::Ioctl, {{lengthAt, 1}}));
}

TYPED_TEST(RemoteTest, AsksTheServerForTheInterruptType) {
    this->device();
    this->m_peer.script({success({0xFFFFFFFF}), refusal({5}), refusal()});
    unsigned long type = untouched;
    EXPECT_TRUE(this->device().getInterruptType(&type));
    EXPECT_EQ(type, 0xFFFFFFFFUL);
    EXPECT_EQ(this->onlyRequest(), requestOf(RequestType::GetInterruptType));
    EXPECT_FALSE(this->device().getInterruptType(&type));
    EXPECT_EQ(type, 5U);
    EXPECT_FALSE(this->device().getInterruptType(&type));
    EXPECT_EQ(type, 0U);
    this->expectTheResultOfTheServer([&] {
        type = untouched;
        const bool result = this->device().getInterruptType(&type);
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

TYPED_TEST(RemoteTest, ReceivesTheWordOfAnInterruptOrItsFirstBytesWithoutARequest) {
    this->device();
    for (const auto& [bytes, word] :
         std::vector<std::pair<Bytes, unsigned long>>{{{0x12, 0x34, 0x56, 0x78}, 0x12345678},
                                                      {{0xFF, 0xFF, 0xFF, 0xFF}, 0xFFFFFFFF},
                                                      {{0, 0, 0, 0}, 0},
                                                      {{0x12, 0x34}, 0x12340000}}) {
        this->m_peer.send(interrupts, bytes);
        unsigned long status = untouched;
        EXPECT_TRUE(this->device().waitForInterrupt(&status));
        EXPECT_EQ(status, word);
    }
    EXPECT_EQ(this->m_peer.requests(0).size(), 0U);
}

TYPED_TEST(RemoteTest, LeavesTheStatusAloneWhenTheServerClosesTheConnectionOfInterrupts) {
    this->device();
    this->m_peer.close(interrupts);
    unsigned long status = untouched;
    const int descriptor = this->device().getNativeHandle();
    const TraceRecorder recorder(1);
    EXPECT_FALSE(this->device().waitForInterrupt(&status));
    EXPECT_FALSE(this->device().waitForInterrupt(&status));
    EXPECT_EQ(status, untouched);
    EXPECT_EQ(this->device().getNativeHandle(), descriptor);
    const std::string closed = "Rynvel.Connection 1 receive: Socket '" + std::to_string(descriptor) + "' is closed.";
    EXPECT_EQ(recorder.lines(), (EventLog{closed, closed}));
    TypeParam value = 0;
    EXPECT_TRUE(this->device().read(0, &value));
}

TYPED_TEST(RemoteTest, HasANativeHandleThatIsReadyWhenThereIsAnInterrupt) {
    pollfd ready{this->device().getNativeHandle(), POLLIN, 0};
    EXPECT_EQ(poll(&ready, 1, 0), 0);
    this->m_peer.send(interrupts, {0, 0, 0, 1});
    EXPECT_EQ(poll(&ready, 1, -1), 1);
    unsigned long status = 0;
    EXPECT_TRUE(this->device().waitForInterrupt(&status));
    EXPECT_EQ(status, 1U);
}

TYPED_TEST(RemoteTest, ServesRegistersWhileAThreadWaitsForAnInterrupt) {
    this->device();
    unsigned long status = 0;
    auto wait = std::async(std::launch::async, [&] { return this->device().waitForInterrupt(&status); });
    for (unsigned int i = 0; i < 100; ++i) {
        TypeParam value = 0;
        this->reply(success({i}));
        EXPECT_TRUE(this->device().read(i, &value));
        EXPECT_EQ(value, i);
    }
    this->m_peer.send(interrupts, {0, 0, 0, 9});
    EXPECT_TRUE(wait.get());
    EXPECT_EQ(status, 9U);
}

TYPED_TEST(RemoteTest, CancelsAWaitByASingleWrite) {
    Device<TypeParam>& device = this->device();
    EXPECT_TRUE(device.cancelWaitForInterrupt(0x30, 7));
    EXPECT_EQ(this->onlyRequest(), requestOf(writeType<TypeParam>, {{addressAt, 0x30}, {valuesAt, 7}, {lengthAt, 1}}));
}

TYPED_TEST(RemoteTest, TakesNoLockInAnyOperationAndDestroysItAtTheEnd) {
    TypeParam values[2] = {};
    unsigned long number = 0;
    auto& device = this->device();
    this->m_peer.send(interrupts, {0, 0, 0, 1});
    device.read(0, values);
    device.read(0, values, 2, ByteOrder::Host);
    device.write(0, values[0]);
    device.write(0, values[0], values[1]);
    device.write(0, values, 2, ByteOrder::Host);
    device.ioctl(0, 0);
    device.getInterruptType(&number);
    device.enableInterrupt();
    device.disableInterrupt();
    device.waitForInterrupt(&number);
    device.cancelWaitForInterrupt(0, values[0]);
    device.getNativeHandle();
    device.open();
    EXPECT_EQ(this->m_log, EventLog{});
    this->m_device.reset();
    EXPECT_EQ(this->m_log, EventLog{"mutex destroyed"});
}

TYPED_TEST(RemoteTest, LeavesItsConnectionsOpenAndSendsNothingWhenItIsDestroyed) {
    const int descriptor = this->device().getNativeHandle();
    const TraceRecorder recorder(7);
    this->m_device.reset();
    EXPECT_EQ(recorder.lines(), EventLog{});
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

TYPED_TEST(RemoteTest, TracesItsEntriesWithTheirArguments) {
    this->device();
    this->m_peer.send(interrupts, {0, 0, 0, 1});
    const TraceRecorder recorder(6, "Rynvel.Remote");
    TypeParam values[2] = {};
    unsigned long number = 0;
    this->device().read(0x1F0, values);
    this->device().read(0x1F0, values, 2, ByteOrder::Network);
    this->device().write(0x1F0, 0xA);
    this->device().write(0x1F0, 0xA, this->all);
    this->device().write(0x1F0, values, 2, ByteOrder::Host);
    this->device().ioctl(-3, 70000);
    this->device().getInterruptType(&number);
    this->device().enableInterrupt();
    this->device().disableInterrupt();
    this->device().waitForInterrupt(&number);
    this->device().open();
    this->device().getNativeHandle();
    const std::string data = "0x" + std::string(2 * sizeof(TypeParam) - 1, '0') + "a";
    const std::string mask = "0x" + std::string(2 * sizeof(TypeParam), 'f');
    const std::string channel = "Rynvel.Remote 6 ";
    EXPECT_EQ(recorder.lines(),
              (EventLog{channel + "read ENTER Hex(address)=0x000001f0",
                        channel + "read ENTER Hex(address)=0x000001f0, items=2, byteOrder=Network",
                        channel + "write ENTER Hex(address)=0x000001f0, Hex(data)=" + data,
                        channel + "write ENTER Hex(address)=0x000001f0, Hex(data)=" + data + ", Hex(bitmask)=" + mask,
                        channel + "write ENTER Hex(address)=0x000001f0, items=2, byteOrder=Host",
                        channel + "ioctl ENTER command=-3, arg=70000", channel + "getInterruptType ENTER",
                        channel + "enableInterrupt ENTER", channel + "disableInterrupt ENTER",
                        channel + "waitForInterrupt ENTER", channel + "open ENTER this->getDevName()=traf.top"}));
    EXPECT_EQ(recorder.traces()[0].option, 256);
    EXPECT_EQ(recorder.traces()[0].file, "cppsrc/RynvelRemote");
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
    this->device();
    const TraceRecorder recorder(7, "Rynvel.Remote");
    this->reply(success({0x1F}));
    TypeParam value = 0;
    this->device().read(0x10, &value);
    this->reply(closing());
    this->device().enableInterrupt();
    const std::string bits = std::to_string(8 * sizeof(TypeParam));
    EXPECT_EQ(recorder.lines(),
              (EventLog{"Rynvel.Remote 6 read ENTER Hex(address)=0x00000010",
                        "Rynvel.Remote 7 sendToServer: Request: [ type: Read" + bits +
                            ", byteOrder: Network, logicalDeviceName: traf.top, address: 10, bitmask: 0, command: 0, "
                            "length: 1, values: { 0, } ]",
                        "Rynvel.Remote 7 sendToServer: Response: [ result: Success, length: 1, values: { 1f, } ]",
                        "Rynvel.Remote 6 enableInterrupt ENTER",
                        "Rynvel.Remote 7 sendToServer: Request: [ type: EnableInterrupt, byteOrder: Network, "
                        "logicalDeviceName: traf.top, address: 0, bitmask: 0, command: 0, length: 0, values: { } ]",
                        "Rynvel.Remote 7 sendToServer: Response: [ result: Error, length: 0, values: { } ]"}));
}

TYPED_TEST(RemoteTest, ExchangesAnyRequestOnTheConnectionThatItIsGiven) {
    auto& device = this->device();
    Rynvel::RemoteDeviceConnection connection("127.0.0.1", this->m_peer.port());
    connection.connect();
    const Request request(RequestData::Type::Debug, "other");
    this->reply(refusal({1, 0xFFFFFFFF}));
    const Response response = device.sendToServer(request, connection);
    EXPECT_EQ(response.getResult(), ResponseData::Result::Error);
    EXPECT_EQ(response.getLength(), 2U);
    EXPECT_EQ(response.getValue(1), 0xFFFFFFFFU);
    const auto received = this->m_peer.requests(1);
    EXPECT_EQ(received[0].connection, 2U);
    EXPECT_EQ(received[0].bytes, requestOf(RequestType::Debug, {}, "other"));
    this->reply(closing());
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

TYPED_TEST(RemoteTest, TakesTheHostFromTheAddress) {
    for (const auto& [address, host] : std::vector<std::pair<std::string, std::string>>{{"10.0.0.7::9000", "10.0.0.7"},
                                                                                        {"server", "server"},
                                                                                        {"server:9000", "server:9000"},
                                                                                        {"::9000", ""},
                                                                                        {"a::b::c", "a"},
                                                                                        {"a:::1", "a"},
                                                                                        {"", ""}}) {
        EXPECT_EQ(Remote<TypeParam>::getIp(address), host) << address;
    }
}

TYPED_TEST(RemoteTest, TakesThePortFromTheAddressWithoutAWordWhereThereIsOne) {
    const TraceRecorder recorder(7);
    for (const auto& [address, port] : std::vector<std::pair<std::string, int>>{{"10.0.0.7::9000", 9000},
                                                                                {"server", 8888},
                                                                                {"server:9000", 8888},
                                                                                {"", 8888},
                                                                                {"::1", 1},
                                                                                {"a::9000x", 9000},
                                                                                {"a:: \t9000", 9000},
                                                                                {"a::9000::1", 9000},
                                                                                {"a::+7", 7},
                                                                                {"a::-1", -1},
                                                                                {"a::0x10", 0},
                                                                                {"a::70000", 70000},
                                                                                {"a::2147483647", 2147483647}}) {
        EXPECT_EQ(Remote<TypeParam>::getPort(address), port) << address;
    }
    EXPECT_EQ(recorder.lines(), EventLog{});
}

TYPED_TEST(RemoteTest, TakesTheDefaultPortAndSaysSoWhenTheTextIsNoNumber) {
    for (const std::string port : {"", " ", "abc", "x9000", ":9000", "2147483648", "-2147483649", "99999999999999"}) {
        const TraceRecorder recorder(1);
        EXPECT_EQ(Remote<TypeParam>::getPort("host::" + port), 8888) << port;
        EXPECT_EQ(recorder.lines(), EventLog{"Rynvel.Remote 1 getPort: Invalid port argument, using default instead"});
    }
    const TraceRecorder recorder(0);
    EXPECT_EQ(Remote<TypeParam>::getPort("host::abc"), 8888);
    EXPECT_EQ(recorder.lines(), EventLog{});
}

/** The device of a scripted machine that has a server at 10.0.0.7. */
template <typename T>
class ScriptedRemoteTest : public testing::Test {
protected:
    ScriptedRemoteTest() { m_os.hosts = {{"server", {10, 0, 0, 7}}}; }

    void construct(const std::string& address) {
        Remote<T>(name, address, std::make_unique<RecordingMutex>(m_os.log()));
    }

    /** The calls that begin like that. */
    EventLog calls(const std::string& begin) {
        EventLog found;
        std::copy_if(m_os.log().begin(), m_os.log().end(), std::back_inserter(found),
                     [&](const std::string& call) { return call.rfind(begin, 0) == 0; });
        return found;
    }

    const TraceRecorder m_silence{0};
    ScriptedOs m_os;
};

TYPED_TEST_SUITE(ScriptedRemoteTest, Widths);

TYPED_TEST(ScriptedRemoteTest, ConnectsTwiceToTheServerThatTheAddressNamesAtTheLower16BitsOfItsPort) {
    const std::string invalid = "Rynvel.Remote 1 getPort: Invalid port argument, using default instead";
    const std::vector<std::tuple<std::string, std::string, EventLog>> places{
        {"server::9000", "9000", {}},
        {"server", "8888", {}},
        {"server::abc", "8888", {invalid, invalid}},
        {"server::70000", "4464", {}},
        {"server::-1", "65535", {}}};
    // All answers come from there.
    this->m_os.memory.resize(16384);
    for (const auto& [address, port, lines] : places) {
        this->m_os.log().clear();
        const TraceRecorder recorder(1);
        this->construct(address);
        const std::string connection = "connect(7, 10.0.0.7:" + port + ", 16)";
        EXPECT_EQ(this->calls("gethostbyname"), (EventLog{"gethostbyname(server)", "gethostbyname(server)"}));
        EXPECT_EQ(this->calls("connect"), (EventLog{connection, connection}));
        EXPECT_EQ(recorder.lines(), lines);
    }
}

TYPED_TEST(ScriptedRemoteTest, WaitsForBothConnectionsBeforeItSendsAnything) {
    this->m_os.script(Call::Connect, {failing(ECONNREFUSED), asUsual, failing(ECONNREFUSED)});
    this->construct("server::9000");
    const auto firstSend = std::find_if(this->m_os.log().begin(), this->m_os.log().end(),
                                        [](const std::string& call) { return call.rfind("send", 0) == 0; });
    const EventLog attempt{"socket(2, 1, 0)", "connect(7, 10.0.0.7:9000, 16)"};
    EXPECT_EQ(
        EventLog(this->m_os.log().begin(), firstSend),
        (EventLog{"gethostbyname(server)", "gethostbyname(server)", attempt[0], attempt[1], "close(7)", "sleep(3)",
                  attempt[0], attempt[1], attempt[0], attempt[1], "close(7)", "sleep(3)", attempt[0], attempt[1]}));
}

TYPED_TEST(ScriptedRemoteTest, MakesOneSendAndOneReceiveForARead) {
    Remote<TypeParam> device(name, "server::9000", std::make_unique<RecordingMutex>(this->m_os.log()));
    this->m_os.log().clear();
    TypeParam value = 0;
    device.read(0, &value);
    ASSERT_EQ(this->m_os.log().size(), 2U);
    EXPECT_EQ(this->calls("send").size(), 1U);
    EXPECT_EQ(this->m_os.log()[1], "read(7, 520)");
}

TYPED_TEST(ScriptedRemoteTest, ReceivesNothingWhenASendFails) {
    Remote<TypeParam> device(name, "server::9000", std::make_unique<RecordingMutex>(this->m_os.log()));
    this->m_os.log().clear();
    this->m_os.script(Call::Send, {failing(EPIPE)});
    TypeParam value = untouched;
    EXPECT_FALSE(device.read(0, &value));
    EXPECT_EQ(value, 0);
    EXPECT_EQ(this->m_os.log().size(), 1U);
}

TYPED_TEST(ScriptedRemoteTest, WaitsForInterruptsOnADescriptorOfZeroByOneRead) {
    this->m_os.script(Call::Socket, {answering(5), answering(0)});
    Remote<TypeParam> device(name, "server::9000", std::make_unique<RecordingMutex>(this->m_os.log()));
    this->m_os.log().clear();
    unsigned long status = untouched;
    EXPECT_TRUE(device.waitForInterrupt(&status));
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
            std::uint8_t value = 0;
            for (int round = 0; round < 3; ++round) {
                device.read(0, &value);
            }
        },
        testing::KilledBySignal(SIGPIPE), "");
}

/** A row that an integrator would add for a device at the peer. */
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

TEST(Remote, IsWhatTheFactoryBuildsForTheRemoteTypesOutOfNameAndPath) {
    EXPECT_TRUE(isBuiltAs<std::uint8_t>(DeviceType::Remote8));
    EXPECT_TRUE(isBuiltAs<std::uint16_t>(DeviceType::Remote16));
    EXPECT_TRUE(isBuiltAs<std::uint32_t>(DeviceType::Remote32));
}

TEST(Remote, HasOneChannelForEachWidth) {
    const auto channels = ZilTraceControl::channels();
    const auto count = [&](const std::string& channel) {
        return std::count_if(channels.begin(), channels.end(), [&](const auto& each) { return each.name == channel; });
    };
    EXPECT_EQ(count("Rynvel.Remote"), 3);
    EXPECT_EQ(count("Rynvel.Connection"), 1);
    EXPECT_EQ(count("Rynvel.RemoteDeviceConnection"), 1);
}

} // namespace
